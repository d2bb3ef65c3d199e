#pragma once

// Publishes, for every active device, how each ACL stage is looked up, and declares the stage
// hash tables and supported IP mask lengths in the chip's hardware capability.
#include <memory>

#include "platform/OrimHwCapability.h"
#include "platform/XpSystem.h"
#include "platform/XpXdk.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclOrimTypes.h"
#include "xpacl/model/XpAclProfileStageInfo.h"

class xpAaclMgTableMgr;

namespace XpAcl {

class AaclStageMgrSm;

// One device's stages, set up once when the reactor is created.
class AaclChipStageMgrSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::AaclChipStageMgrSm")
   AaclChipStageMgrSm(const XpXdk::XpDeviceId& deviceId,
                      Norv::Ptr<const AaclChipProfileStageInfo> chipProfileStageInfo,
                      Norv::Ptr<Orim::ChipHwCapability> chipHwCapability,
                      Norv::Ptr<AaclChipStageStatus> aaclChipStageStatus);

   const XpXdk::XpDeviceId& deviceId() const { return deviceId_; }
   const Norv::Ptr<const AaclChipProfileStageInfo>& chipProfileStageInfo() const {
      return chipProfileStageInfo_;
   }
   const Norv::Ptr<Orim::ChipHwCapability>& chipHwCapability() const {
      return chipHwCapability_;
   }
   const Norv::Ptr<AaclChipStageStatus>& aaclChipStageStatus() const {
      return aaclChipStageStatus_;
   }
   static constexpr std::array<const char*, 3> norvCtorAttrNames{
       "_chipProfileStageInfo", "_chipHwCapability", "_aaclChipStageStatus"};
   auto norvCtorAttrs() const {
      return std::make_tuple(chipProfileStageInfo_, chipHwCapability_, aaclChipStageStatus_);
   }

   xpAaclMgTableMgr* mgTableMgr() const { return mgTableMgr_; }
   void mgTableMgrIs(xpAaclMgTableMgr* mgr) { mgTableMgr_ = mgr; }
   AaclStageMgrSm* aaclStageMgrSm() const { return aaclStageMgrSm_; }
   void aaclStageMgrSmIs(AaclStageMgrSm* parent) { aaclStageMgrSm_ = parent; }

   void handleInitialized() override;
   void doSetupAaclStages();

private:
   XpXdk::XpDeviceId deviceId_;
   Norv::Ptr<const AaclChipProfileStageInfo> chipProfileStageInfo_;
   Norv::Ptr<Orim::ChipHwCapability> chipHwCapability_;
   Norv::Ptr<AaclChipStageStatus> aaclChipStageStatus_;
   xpAaclMgTableMgr* mgTableMgr_ = nullptr;
   AaclStageMgrSm* aaclStageMgrSm_ = nullptr;
};

class AaclStageMgrSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::AaclStageMgrSm")
   NORV_FORWARDING_NOTIFIEE(NorvActiveXpDeviceColl, XpXdk::XpDeviceIdColl, AaclStageMgrSm,
                            DeviceId, XpXdk::XpDeviceId, handleXpDevice)

   AaclStageMgrSm(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                  Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                  Norv::Ptr<const AaclProfileStageInfo> profileStageInfo,
                  Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl,
                  Norv::Ptr<AaclStageStatus> aaclStageStatus);

   const Norv::Ptr<const XpXdk::XpDeviceIdColl>& activeXpDeviceColl() const {
      return activeXpDeviceColl_;
   }
   const Norv::Ptr<const XpSystem::SystemStatus>& systemStatus() const { return systemStatus_; }
   const Norv::Ptr<const AaclProfileStageInfo>& profileStageInfo() const {
      return profileStageInfo_;
   }
   const Norv::Ptr<Orim::HwCapabilityColl>& hwCapabilityColl() const {
      return hwCapabilityColl_;
   }
   const Norv::Ptr<AaclStageStatus>& aaclStageStatus() const { return aaclStageStatus_; }

   NORV_REACTOR_COLL(chipStageMgrSm, ChipStageMgrSm, XpXdk::XpDeviceId, AaclChipStageMgrSm,
                     Norv::HashMap)
public:
   Norv::Ptr<AaclChipStageMgrSm>
   chipStageMgrSmIs(const XpXdk::XpDeviceId& deviceId,
                    const Norv::Ptr<const AaclChipProfileStageInfo>& chipProfileStageInfo,
                    const Norv::Ptr<Orim::ChipHwCapability>& chipHwCapability,
                    const Norv::Ptr<AaclChipStageStatus>& aaclChipStageStatus);

   void handleInitialized() override;
   void handleXpDevice(const XpXdk::XpDeviceId& deviceId);
   void handleXpDevice();

private:
   Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl_;
   Norv::Ptr<const XpSystem::SystemStatus> systemStatus_;
   Norv::Ptr<const AaclProfileStageInfo> profileStageInfo_;
   Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl_;
   Norv::Ptr<AaclStageStatus> aaclStageStatus_;
   std::unique_ptr<NorvActiveXpDeviceColl> notifieeActiveXpDeviceColl_;
};

XPACL_EXPORT Norv::Ptr<AaclStageMgrSm>
aaclStageMgrSmFactory(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                      Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                      Norv::Ptr<const AaclProfileStageInfo> profileStageInfo,
                      Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl,
                      Norv::Ptr<AaclStageStatus> aaclStageStatus);
Norv::Ptr<AaclChipStageMgrSm>
aaclChipStageMgrSmFactory(const XpXdk::XpDeviceId& deviceId,
                          Norv::Ptr<const AaclChipProfileStageInfo> chipProfileStageInfo,
                          Norv::Ptr<Orim::ChipHwCapability> chipHwCapability,
                          Norv::Ptr<AaclChipStageStatus> aaclChipStageStatus);

} // namespace XpAcl
