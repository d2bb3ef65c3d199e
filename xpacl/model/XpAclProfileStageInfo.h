#pragma once

// The ACL layout of each device's pipeline profile: the LDE serving each stage, each LDE's
// tables and SE profiles.
#include "platform/XpSystem.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclOrimValues.h"

namespace XpAcl {

class AaclChipProfileStageInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclChipProfileStageInfo")
   class NotifieeConst : public Norv::NotifieeOf<AaclChipProfileStageInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(OrimStageIdToLdeId, Orim::StageId)
      NORV_ON_KEY(LdeIdToMgTableId, XpXdk::XpLdeId)
      NORV_ON_KEY(LdeIdToMgksTableId, XpXdk::XpLdeId)
      NORV_ON_KEY(LdeSeProfileSet, XpXdk::XpLdeId)
   };
   AaclChipProfileStageInfo(const XpXdk::XpDeviceId& deviceId,
                            Norv::Ptr<const XpSystem::SystemStatus> systemStatus)
       : deviceId_(deviceId), systemStatus_(std::move(systemStatus)) {}
   const XpXdk::XpDeviceId& deviceId() const { return deviceId_; }
   const Norv::Ptr<const XpSystem::SystemStatus>& systemStatus() const { return systemStatus_; }

   NORV_VALUE_COLL(orimStageIdToLdeId, OrimStageIdToLdeId, Orim::StageId, XpXdk::XpLdeId,
                   Norv::HashMap)
   NORV_VALUE_COLL(ldeIdToMgTableId, LdeIdToMgTableId, XpXdk::XpLdeId, AaclMgTableId,
                   Norv::HashMap)
   NORV_VALUE_COLL(ldeIdToMgksTableId, LdeIdToMgksTableId, XpXdk::XpLdeId, AaclMgksTableId,
                   Norv::HashMap)
   // The LDE's set, or null when it has none.
   NORV_VALUE_COLL(ldeSeProfileSet, LdeSeProfileSet, XpXdk::XpLdeId,
                   Norv::Ptr<AaclSeProfileSet>, Norv::HashMap)

private:
   XpXdk::XpDeviceId deviceId_;
   Norv::Ptr<const XpSystem::SystemStatus> systemStatus_;
};

class XPACL_EXPORT AaclProfileStageInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclProfileStageInfo")
   class NotifieeConst : public Norv::NotifieeOf<AaclProfileStageInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipProfileStageInfo, XpXdk::XpDeviceId)
   };
   explicit AaclProfileStageInfo(Norv::Ptr<const XpSystem::SystemStatus> systemStatus)
       : systemStatus_(std::move(systemStatus)) {}
   const Norv::Ptr<const XpSystem::SystemStatus>& systemStatus() const { return systemStatus_; }

   NORV_VALUE_COLL(chipProfileStageInfo, ChipProfileStageInfo, XpXdk::XpDeviceId,
                   Norv::Ptr<AaclChipProfileStageInfo>, Norv::HashMap)
public:
   // Files a ready member under its own device id, replacing any there.
   void chipProfileStageInfoIs(const Norv::Ptr<AaclChipProfileStageInfo>& info);
   void newChipProfileStageInfo(const Norv::Ptr<AaclChipProfileStageInfo>& info) {
      chipProfileStageInfoIs(info);
   }

private:
   Norv::Ptr<const XpSystem::SystemStatus> systemStatus_;
};

XPACL_EXPORT Norv::Ptr<AaclProfileStageInfo>
aaclProfileStageInfoFactory(Norv::Ptr<const XpSystem::SystemStatus> systemStatus);
XPACL_EXPORT Norv::Ptr<AaclChipProfileStageInfo>
aaclChipProfileStageInfoFactory(const XpXdk::XpDeviceId& deviceId,
                                Norv::Ptr<const XpSystem::SystemStatus> systemStatus);

} // namespace XpAcl
