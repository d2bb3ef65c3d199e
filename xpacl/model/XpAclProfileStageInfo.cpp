#include "xpacl/model/XpAclProfileStageInfo.h"

namespace XpAcl {

void AaclProfileStageInfo::chipProfileStageInfoIs(
    const Norv::Ptr<AaclChipProfileStageInfo>& info) {
   if (!info) {
      throw Norv::RangeError("null _chipProfileStageInfo parameter to mutator for "
                             "XpAcl::AaclProfileStageInfo::chipProfileStageInfo not allowed\"");
   }
   chipProfileStageInfoIs(info->deviceId(), info);
}

Norv::Ptr<AaclProfileStageInfo>
aaclProfileStageInfoFactory(Norv::Ptr<const XpSystem::SystemStatus> systemStatus) {
   return new AaclProfileStageInfo(std::move(systemStatus));
}

Norv::Ptr<AaclChipProfileStageInfo>
aaclChipProfileStageInfoFactory(const XpXdk::XpDeviceId& deviceId,
                                Norv::Ptr<const XpSystem::SystemStatus> systemStatus) {
   return new AaclChipProfileStageInfo(deviceId, std::move(systemStatus));
}

} // namespace XpAcl
