#include "xdk/xpSdk.h"

#include <array>
#include <deque>
#include <utility>

#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPlatformLayers.h"
#include "xdk/xpSdkInit.h"
#include "xdk/xpWriteObserver.h"

unsigned xpSdkGenerationCount = 0;

void xpSdkReset() {
   ++xpSdkGenerationCount;
   xpDeviceMgr::instance()->reset();
   for (xpPlBase* layer : xpPlatformLayers())
      layer->reset();
   xpLogMgr::instance()->clear();
}

struct xpSdkState::Parts {
   std::array<xpPlBase::MgrMap, std::tuple_size_v<decltype(xpPlatformLayers())>> layers;
   xpDeviceMgr::Profiles devices;
   std::deque<xpLogMessage> log;
   xpWriteObserver* observer = nullptr;
};

xpSdkState::xpSdkState() = default;
xpSdkState::xpSdkState(xpSdkState&&) noexcept = default;
xpSdkState& xpSdkState::operator=(xpSdkState&&) noexcept = default;
xpSdkState::~xpSdkState() = default;

xpSdkState xpSdkDetach() {
   xpSdkState state;
   state.parts_ = std::make_unique<xpSdkState::Parts>();
   auto& parts = *state.parts_;
   const auto layers = xpPlatformLayers();
   for (size_t i = 0; i < layers.size(); ++i)
      parts.layers[i] = layers[i]->takeMgrs();
   parts.devices = xpDeviceMgr::instance()->takeProfiles();
   parts.log = xpLogMgr::instance()->takeKept();
   parts.observer = std::exchange(xpWriteObserverNow, nullptr);
   // Resets what is left (nothing) and installs fresh managers; the generation moves on.
   xpSdkInit();
   return state;
}

void xpSdkAttach(xpSdkState state) {
   // Drops the model in place; the generation moves on, so cached pointers into it go too.
   xpSdkReset();
   if (!state) return;
   auto& parts = *state.parts_;
   const auto layers = xpPlatformLayers();
   for (size_t i = 0; i < layers.size(); ++i)
      layers[i]->mgrsIs(std::move(parts.layers[i]));
   xpDeviceMgr::instance()->profilesIs(parts.devices);
   xpLogMgr::instance()->keptIs(std::move(parts.log));
   xpWriteObserverNow = parts.observer;
}
