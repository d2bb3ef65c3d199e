#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "norv/NotificationBatch.h"
#include "platform/CorvoOrim.h"
#include "platform/XpSystem.h"
#include "platform/XpXdk.h"
#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/agent/XpAclCorvoOrimAclHelper.h"

namespace Sim {

// The agent's objects that every module shares: the entities the upper layers publish and the
// library's top-level objects. Modules keep their own reactors in `held`.
struct SimWorld {
   Norv::Ptr<XpXdk::XpDeviceIdColl> devices;
   Norv::Ptr<XpSystem::SystemStatus> systemStatus;
   Norv::Ptr<XpAcl::XpAclCommonSmData> commonData;
   Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl;
   Norv::Ptr<XpAcl::CorvoOrimAclHelper> aclHelper;
   // The open batch and the line that opened it.
   std::unique_ptr<Norv::NotificationBatch> batch;
   int batchLine = 0;
   // What the open batch changed, for the checks whose answer depends on what the driver has
   // heard: keys such as "device 3", "chip 3" (any of its configuration) or "prefix src4 3".
   // A module whose commands change a chip's configuration touches "chip N".
   std::set<std::string> batchTouched;
   // Each device the batch changed, with its state when the batch opened.
   enum class DeviceState { absent, down, up };
   std::map<unsigned, DeviceState> deviceAtBatchOpen;
   // Changes of the chip model that must wait until the driver has heard of the batch.
   std::vector<std::function<void()>> afterDelivery;

   void batchOpen(int line) {
      batch = std::make_unique<Norv::NotificationBatch>();
      batchLine = line;
   }
   // Delivers the batch (handlers may throw), then makes the changes that waited for it.
   void batchClose() {
      auto open = std::move(batch);
      auto after = std::move(afterDelivery);
      batchForget();
      open->close();
      for (auto& f : after)
         f();
   }
   // Drops the open batch undelivered, with the changes that waited for it.
   void batchDiscard() {
      batch.reset();
      batchForget();
   }
   // Runs `f` now, or after the open batch has been delivered.
   void afterBatch(std::function<void()> f) {
      if (batch) {
         afterDelivery.push_back(std::move(f));
      } else {
         f();
      }
   }
   bool batchChanged(const std::string& key) const { return batch && batchTouched.count(key); }
   void batchTouch(const std::string& key) {
      if (batch) batchTouched.insert(key);
   }

   // Reactors and entities created by modules, by name; dropped in reverse order at the end,
   // as the agent drops its top-level objects.
   template <class T>
   Norv::Ptr<T> hold(const std::string& name, Norv::Ptr<T> p) {
      held_.emplace_back(name, p);
      return p;
   }
   template <class T>
   Norv::Ptr<T> get(const std::string& name) const {
      for (const auto& [n, p] : held_) {
         if (n == name) return Norv::ptrCast<T>(p);
      }
      return nullptr;
   }
   void dropAll() {
      while (!held_.empty())
         held_.pop_back();
   }

private:
   void batchForget() {
      batchTouched.clear();
      deviceAtBatchOpen.clear();
      afterDelivery.clear();
   }
   std::vector<std::pair<std::string, Norv::Ptr<Norv::Entity>>> held_;
};

} // namespace Sim
