#pragma once

// The stage layout of the chip's default pipeline profile: stages 0 to 5 on LDEs 6 to 11, each
// LDE with eight SE profiles.
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclProfileStageInfo.h"

namespace XpAcl {

class AaclDefaultProfileStageInfo : public AaclChipProfileStageInfo {
public:
   NORV_ENTITY("XpAcl::AaclDefaultProfileStageInfo")
   class NotifieeConst : public Norv::NotifieeOf<AaclDefaultProfileStageInfo,
                                                 AaclChipProfileStageInfo::NotifieeConst> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(Initialized)
   };
   // Fills the layout at once.
   AaclDefaultProfileStageInfo(const XpXdk::XpDeviceId& deviceId,
                               Norv::Ptr<const XpSystem::SystemStatus> systemStatus);

   NORV_SCALAR(initialized, Initialized, bool)
public:
   void handleInitialized();
   void doSetupAaclOrimStageIdToAaclTableIdMapping();
   void doSetupAaclLdeSuperkeyFields();
   void doPopulateSipDipLengths(XpXdk::XpLdeId ldeId, XpXdk::XpSeProfileId seProfileId);
};

XPACL_EXPORT Norv::Ptr<AaclDefaultProfileStageInfo>
aaclDefaultProfileStageInfoFactory(const XpXdk::XpDeviceId& deviceId,
                                   Norv::Ptr<const XpSystem::SystemStatus> systemStatus);

} // namespace XpAcl
