#include "xpacl/maskgroup/XpAclOrimPDInfo.h"

#include "norv/Trace.h"

NORV_TRACE_HANDLE("XpAclOrimPDInfo");

namespace XpAcl {

uint32_t Xp80PDHashingFunction::getHash(
    const Orim::PDKeyValue& pdKey,
    const Norv::Ptr<const Orim::HashStageDescriptor>& hashStageDescriptor,
    const Orim::MaskGroupDescriptor& maskGroupDescriptor, uint8_t way,
    const Orim::AclId& aclId) {
   const uint32_t hash = mgTableHelper_->hashIndex(deviceId_, pdKey, hashStageDescriptor,
                                                   maskGroupDescriptor, way, aclId);
   NORV_TRACE(7, "getHash key {} stage {} hash {}", pdKey, hashStageDescriptor, hash);
   return hash;
}

uint32_t
Xp80PDHashingFunction::getHwKeyLen(const Orim::MaskGroupDescriptor&,
                                   const Norv::Ptr<const Orim::HashStageDescriptor>&) const {
   return hwKeyLen_;
}

uint32_t Xp80PDHashingFunction::getDeltaCounter(const Orim::ChipId& chipId,
                                                const Orim::AclId& aclId, uint32_t ruleId) {
   return mgTableHelper_->getDeltaCounter(chipId, aclId, ruleId);
}

bool Xp80PDHashingFunction::isCounterAttached(const Orim::ChipId& chipId,
                                              const Orim::AclId& aclId, uint32_t ruleId) const {
   return mgTableHelper_->isCounterAttached(chipId, aclId, ruleId);
}

Norv::Ptr<Xp80PDHashingFunction>
xp80PDHashingFunctionFactory(const XpXdk::XpDeviceId& deviceId,
                             Norv::Ptr<MgTableHelper> mgTableHelper) {
   return new Xp80PDHashingFunction(deviceId, std::move(mgTableHelper));
}

Norv::Ptr<Xp80PDInfo> xp80PDInfoFactory() {
   return new Xp80PDInfo();
}

} // namespace XpAcl
