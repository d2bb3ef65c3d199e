#pragma once

#include <cstdint>
#include <memory>

#include "norv/Attributes.h"
#include "norv/Reactor.h"
#include "platform/OrimXform.h"
#include "platform/XpXdk.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/xform/XpAclXformCommon.h"

class aaclL4PortMgr;

namespace XpAcl {

// Programs one L4 port table (source or destination, by name) from the upper layer's port
// ranges: each port gets the label of the range covering it, 0 elsewhere. One nested reactor
// per chip writes the ranges and acknowledges requests; this reactor owns the devices' tables
// and clears what no range covers whenever a device becomes active. Armed by the agent.
class L4PortXformSm : public Norv::ArmedReactor {
public:
   NORV_ENTITY("XpAcl::L4PortXformSm")

   NORV_FORWARDING_NOTIFIEE(NorvActiveXpDeviceColl, XpXdk::XpDeviceIdColl, L4PortXformSm,
                            DeviceId, XpXdk::XpDeviceId, handleXpDevice)

   NORV_FORWARDING_NOTIFIEE(NorvPortRangeConfig, Orim::PortRangeConfig, L4PortXformSm,
                            ChipPortRangeConfig, Orim::ChipId, handleChipPortRangeConfig)

   // One chip's ranges: writes them while the chip's device is active, and acknowledges the
   // chip's requests.
   class NorvChipPortRangeConfig : public Norv::Reactor,
                                   public Orim::ChipPortRangeConfig::NotifieeConst {
   public:
      NORV_ENTITY("XpAcl::L4PortXformSm::NorvChipPortRangeConfig")
      NorvChipPortRangeConfig(const Orim::ChipId& fwkKey,
                              Norv::Ptr<const Orim::ChipPortRangeConfig> chipPortRangeConfig,
                              L4PortXformSm* l4PortXformSm);

      const Orim::ChipId& fwkKey() const { return fwkKey_; }
      XpXdk::XpDeviceId devId() const { return XpXdk::deviceIdOf(fwkKey_); }
      const Norv::Ptr<const Orim::ChipPortRangeConfig>& chipPortRangeConfig() const {
         return chipPortRangeConfig_;
      }
      L4PortXformSm* l4PortXformSm() const { return l4PortXformSm_; }

      void handleInitialized() override;
      void handleActiveXform(const Orim::L4PortRange& range);
      void handleActiveXform();
      void handleAttemptedRequestId();
      void doCleanup() override;

      void onActiveXform(const Orim::L4PortRange& range) override { handleActiveXform(range); }
      void onActiveXform() override { handleActiveXform(); }
      void onAttemptedRequestId() override { handleAttemptedRequestId(); }

      static constexpr std::array<const char*, 0> norvCtorAttrNames{};
      auto norvCtorAttrs() const { return std::tuple<>(); }

   private:
      bool active() const { return l4PortXformSm_->initialized() && initialized(); }
      // Writes `label` to every port of the range, in ascending order.
      void writeRange(const Orim::L4PortRange& range, uint16_t label);

      Orim::ChipId fwkKey_;
      Norv::Ptr<const Orim::ChipPortRangeConfig> chipPortRangeConfig_;
      L4PortXformSm* l4PortXformSm_;
   };

   L4PortXformSm(const Norv::Name& name,
                 Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                 Norv::Ptr<const Orim::PortRangeConfig> portRangeConfig,
                 Norv::Ptr<Orim::ResourceStatus> resourceStatus);
   ~L4PortXformSm() override;

   const Norv::Name& name() const { return name_; }
   const Norv::Ptr<const XpXdk::XpDeviceIdColl>& activeXpDeviceColl() const {
      return activeXpDeviceColl_;
   }
   const Norv::Ptr<const Orim::PortRangeConfig>& portRangeConfig() const {
      return portRangeConfig_;
   }
   const Norv::Ptr<Orim::ResourceStatus>& resourceStatus() const { return resourceStatus_; }
   aaclL4PortMgr* l4PortMgr() const { return l4PortMgr_; }
   void l4PortMgrIs(aaclL4PortMgr* mgr) { l4PortMgr_ = mgr; }

   NORV_REACTOR_COLL(chipPortRangeConfig, ChipPortRangeConfig, Orim::ChipId,
                     NorvChipPortRangeConfig, Norv::HashMap)
public:
   // The chip's reactor, created for `config` if absent (or built for another entity).
   Norv::Ptr<NorvChipPortRangeConfig>
   chipPortRangeConfigIs(const Orim::ChipId& chipId,
                         const Norv::Ptr<const Orim::ChipPortRangeConfig>& config);

   void handleInitialized() override;
   void handleXpDevice(const XpXdk::XpDeviceId& devId);
   void handleXpDevice();
   void handleChipPortRangeConfig(const Orim::ChipId& chipId);
   void handleChipPortRangeConfig();

   // Read-compare-write of one port's label.
   void writeEntry(XpXdk::XpDeviceId devId, uint32_t entryIndex, uint16_t newVal);
   // Clears every port of the device that no range of its chip covers.
   void sweepStaleEntries(XpXdk::XpDeviceId devId);
   uint32_t numTblEntries(XpXdk::XpDeviceId devId) const;
   XPACL_EXPORT void doShowTblEntries(int fd, XpXdk::XpDeviceId devId) const;

   // True when the device is known and active.
   bool deviceActive(XpXdk::XpDeviceId devId) const {
      return activeXpDeviceColl_ && activeXpDeviceColl_->deviceId(devId);
   }

private:
   Norv::Name name_;
   Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl_;
   Norv::Ptr<const Orim::PortRangeConfig> portRangeConfig_;
   Norv::Ptr<Orim::ResourceStatus> resourceStatus_;
   aaclL4PortMgr* l4PortMgr_ = nullptr;
   std::unique_ptr<NorvActiveXpDeviceColl> norvActiveXpDeviceColl_;
   std::unique_ptr<NorvPortRangeConfig> norvPortRangeConfig_;
};

XPACL_EXPORT Norv::Ptr<L4PortXformSm>
l4PortXformSmFactory(const Norv::Name& name,
                     Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                     Norv::Ptr<const Orim::PortRangeConfig> portRangeConfig,
                     Norv::Ptr<Orim::ResourceStatus> resourceStatus);

} // namespace XpAcl
