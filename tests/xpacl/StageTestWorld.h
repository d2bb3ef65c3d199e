#pragma once

// The agent's side of the stage and SE-profile managers, for tests: the inputs, the roots, and
// what the agent does when a device is added.
#include "platform/OrimHwCapability.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/model/XpAaclDefaultProfileStageInfo.h"
#include "xpacl/stage/XpAclLdeSeProfileMgrSm.h"
#include "xpacl/stage/XpAclOrimStageMgrSm.h"

namespace XpAclTest {

using namespace XpAcl;

struct StageTestWorld {
   StageTestWorld() { xpSdkInit(); }

   void startStageMgr() {
      stageMgr = aaclStageMgrSmFactory(devices, systemStatus, info, hwCap, stageStatus);
   }
   void startSeProfileMgr() {
      seMgr = aaclLdeSeProfileMgrSmFactory(seConfig, seStatus, stageStatus);
   }

   void addDevice(uint8_t dev, const xpDeviceProfile& profile = {}) {
      xpDeviceMgr::instance()->addDevice(dev, profile);
      info->chipProfileStageInfoIs(
          aaclDefaultProfileStageInfoFactory(XpXdk::XpDeviceId(dev), systemStatus));
      hwCap->chipHwCapabilityIs(Orim::ChipId(dev));
      devices->deviceIdIs(XpXdk::XpDeviceId(dev), false);
   }
   void deviceUp(uint8_t dev, bool up = true) {
      devices->deviceIdIs(XpXdk::XpDeviceId(dev), up);
   }

   Norv::Ptr<XpXdk::XpDeviceIdColl> devices = XpXdk::xpDeviceIdCollFactory();
   Norv::Ptr<XpSystem::SystemStatus> systemStatus = XpSystem::systemStatusFactory("sys");
   Norv::Ptr<AaclProfileStageInfo> info = aaclProfileStageInfoFactory(systemStatus);
   Norv::Ptr<Orim::HwCapabilityColl> hwCap = new Orim::HwCapabilityColl("hw");
   Norv::Ptr<AaclStageStatus> stageStatus = aaclStageStatusFactory("stages");
   Norv::Ptr<AaclSeProfileConfig> seConfig = aaclSeProfileConfigFactory("config");
   Norv::Ptr<AaclSeProfileStatus> seStatus = aaclSeProfileStatusFactory("status");
   Norv::Ptr<AaclStageMgrSm> stageMgr;
   Norv::Ptr<AaclLdeSeProfileMgrSm> seMgr;
};

} // namespace XpAclTest
