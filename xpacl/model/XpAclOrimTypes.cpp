// Factories of the stage-status, SE-profile and blocked-collection entities.
#include "xpacl/model/XpAclOrimTypes.h"

namespace XpAcl {

Norv::Ptr<AaclStageStatus> aaclStageStatusFactory(const Norv::Name& name) {
   return new AaclStageStatus(name);
}

Norv::Ptr<AaclChipStageStatus> aaclChipStageStatusFactory(const Orim::ChipId& chipId) {
   return new AaclChipStageStatus(chipId);
}

Norv::Ptr<AaclStageDescriptor>
aaclStageDescriptorFactory(const Orim::StageId& stageId,
                           const AaclLdeMgTableLookupDesc& ldeMgTableLookupDesc) {
   return new AaclStageDescriptor(stageId, ldeMgTableLookupDesc);
}

Norv::Ptr<AaclSeProfileConfig> aaclSeProfileConfigFactory(const Norv::Name& name) {
   return new AaclSeProfileConfig(name);
}

Norv::Ptr<AaclChipSeProfileConfig> aaclChipSeProfileConfigFactory(const Orim::ChipId& chipId) {
   return new AaclChipSeProfileConfig(chipId);
}

Norv::Ptr<AaclSeProfileConfigEntry>
aaclSeProfileConfigEntryFactory(const Orim::ChipRuleListId& chipRuleListId) {
   return new AaclSeProfileConfigEntry(chipRuleListId);
}

Norv::Ptr<AaclSeProfileStatus> aaclSeProfileStatusFactory(const Norv::Name& name) {
   return new AaclSeProfileStatus(name);
}

Norv::Ptr<AaclChipSeProfileStatus> aaclChipSeProfileStatusFactory(const Orim::ChipId& chipId) {
   return new AaclChipSeProfileStatus(chipId);
}

Norv::Ptr<AaclSeProfileStatusEntry>
aaclSeProfileStatusEntryFactory(const Orim::ChipRuleListId& chipRuleListId) {
   return new AaclSeProfileStatusEntry(chipRuleListId);
}

Norv::Ptr<AaclSeProfileStageStatus>
aaclSeProfileStageStatusFactory(const Orim::StageId& stageId) {
   return new AaclSeProfileStageStatus(stageId);
}

Norv::Ptr<AaclBlockedIntfColl> aaclBlockedIntfCollFactory() {
   return new AaclBlockedIntfColl();
}

Norv::Ptr<AaclBlockedVlanColl> aaclBlockedVlanCollFactory() {
   return new AaclBlockedVlanColl();
}

} // namespace XpAcl
