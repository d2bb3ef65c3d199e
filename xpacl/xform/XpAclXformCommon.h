#pragma once

#include <vector>

#include "platform/XpXdk.h"

// What the transform reactors share: they follow the device collection the same way and keep
// one nested reactor per chip member of their configuration.
namespace XpAcl {

// Watches the devices for a transform reactor Sm: handleXpDevice(devId) per change, and
// handleXpDevice() for the whole collection.
template <class Sm>
class NorvXpDeviceCollOf : public XpXdk::XpDeviceIdColl::NotifieeConst {
public:
   NorvXpDeviceCollOf(Sm* sm, Norv::Ptr<const XpXdk::XpDeviceIdColl> coll)
       : NotifieeConst(sm, std::move(coll)), sm_(sm) {}
   void onDeviceId(const XpXdk::XpDeviceId& devId) override { sm_->handleXpDevice(devId); }
   void onDeviceId() override { sm_->handleXpDevice(); }

private:
   Sm* sm_;
};

// Calls handle(chipId) for every chip that has a nested reactor in `held` or a member in
// `configured` (which may be null), each once: the walk that reconciles the two.
template <class Held, class Configured, class F>
void forEachChip(const Held& held, const Configured* configured, F&& handle) {
   std::vector<Orim::ChipId> chips;
   for (auto it = held.begin(); it; ++it)
      chips.push_back(it.key());
   if (configured) {
      for (auto it = configured->begin(); it; ++it) {
         if (!held.find(it.key())) chips.push_back(it.key());
      }
   }
   for (const auto& chipId : chips)
      handle(chipId);
}

} // namespace XpAcl
