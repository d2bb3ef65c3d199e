#include "xpacl/model/XpAaclDefaultProfileStageInfo.h"

#include <array>
#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"

NORV_TRACE_HANDLE("XpAclDefaultProfileStageInfo");

namespace XpAcl {

namespace {

constexpr uint8_t kNoTable = 255;
constexpr uint8_t kNumLdes = 12;
// The LDEs that serve ACL stages: stage s is on LDE s + kFirstAclLde.
constexpr uint8_t kFirstAclLde = 6;
constexpr uint8_t kNumAclStages = 6;
constexpr uint8_t kNumSeProfiles = 8;

constexpr std::array<uint8_t, kNumLdes> kLdeMgTableId{
    kNoTable, kNoTable, kNoTable, kNoTable, kNoTable, kNoTable, 0, 1, 2, 3, 4, 5};
constexpr std::array<uint8_t, kNumLdes> kLdeMgksTableId{
    kNoTable, kNoTable, kNoTable, kNoTable, kNoTable, kNoTable, 1, 2, 3, 4, 5, 6};

// The source-IP length that each SE profile adds to the common part.
constexpr std::array<uint8_t, kNumSeProfiles> kProfileSipLen{1, 3, 5, 7, 9, 11, 13, 16};
constexpr std::array<uint8_t, 9> kDipLen{1, 3, 5, 7, 9, 11, 13, 16, 0};

} // namespace

AaclDefaultProfileStageInfo::AaclDefaultProfileStageInfo(
    const XpXdk::XpDeviceId& deviceId, Norv::Ptr<const XpSystem::SystemStatus> systemStatus)
    : AaclChipProfileStageInfo(deviceId, std::move(systemStatus)) {
   handleInitialized();
}

void AaclDefaultProfileStageInfo::handleInitialized() {
   NORV_TRACE(8, "AaclDefaultProfileStageInfo::");
   doSetupAaclOrimStageIdToAaclTableIdMapping();
   doSetupAaclLdeSuperkeyFields();
   initializedIs(true);
}

void AaclDefaultProfileStageInfo::doSetupAaclOrimStageIdToAaclTableIdMapping() {
   NORV_TRACE(8, "AaclDefaultProfileStageInfo::");
   for (uint8_t lde = 0; lde < kNumLdes; ++lde) {
      const XpXdk::XpLdeId ldeId(lde);
      if (kLdeMgTableId[lde] != kNoTable) {
         ldeIdToMgTableIdIs(ldeId, AaclMgTableId(kLdeMgTableId[lde]));
      }
      if (kLdeMgksTableId[lde] != kNoTable) {
         ldeIdToMgksTableIdIs(ldeId, AaclMgksTableId(kLdeMgksTableId[lde]));
      }
   }
   for (uint8_t stage = 0; stage < kNumAclStages; ++stage) {
      orimStageIdToLdeIdIs(Orim::StageId(stage), XpXdk::XpLdeId(stage + kFirstAclLde));
   }
}

void AaclDefaultProfileStageInfo::doSetupAaclLdeSuperkeyFields() {
   NORV_TRACE(8, "AaclDefaultProfileStageInfo::");
   std::vector<XpXdk::XpLdeId> ldes;
   for (auto it = orimStageIdToLdeIdColl().begin(); it; ++it)
      ldes.push_back(it.value());
   for (const auto& ldeId : ldes) {
      ldeSeProfileSetIs(ldeId, aaclSeProfileSetFactory());
      for (uint8_t profile = 0; profile < kNumSeProfiles; ++profile) {
         doPopulateSipDipLengths(ldeId, XpXdk::XpSeProfileId(profile));
      }
   }
}

void AaclDefaultProfileStageInfo::doPopulateSipDipLengths(XpXdk::XpLdeId ldeId,
                                                          XpXdk::XpSeProfileId seProfileId) {
   NORV_TRACE(8, "AaclDefaultProfileStageInfo:: ldeId {} seProfileId {}", ldeId, seProfileId);
   if (ldeId.value() < kFirstAclLde || ldeId.value() >= kFirstAclLde + kNumAclStages) return;
   if (seProfileId.value() >= kNumSeProfiles) NORV_ASSERT(0);
   Norv::Ptr<AaclSeProfileSet> set = ldeSeProfileSet(ldeId);
   AaclSuperkeyFields fields = set->aaclSuperkeyFields(seProfileId);
   fields.sipLenIs(kProfileSipLen[seProfileId.value()], true);
   fields.sipLenIs(0, true);
   for (uint8_t len : kDipLen)
      fields.dipLenIs(len, true);
   set->aaclSuperkeyFieldsIs(seProfileId, fields);
}

Norv::Ptr<AaclDefaultProfileStageInfo>
aaclDefaultProfileStageInfoFactory(const XpXdk::XpDeviceId& deviceId,
                                   Norv::Ptr<const XpSystem::SystemStatus> systemStatus) {
   return new AaclDefaultProfileStageInfo(deviceId, std::move(systemStatus));
}

} // namespace XpAcl
