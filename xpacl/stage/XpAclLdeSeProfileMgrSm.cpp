#include "xpacl/stage/XpAclLdeSeProfileMgrSm.h"

#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "xpacl/agent/XpAclKeysToVisit.h"

NORV_TRACE_HANDLE("XpAclLdeSeProfileMgrSm");

namespace XpAcl {

namespace {

// Whether the superkey can carry the lengths; a zero length needs nothing of it.
bool carries(const AaclSuperkeyFields& fields, uint8_t sip, uint8_t dip) {
   return (sip == 0 || fields.sipLen(sip)) && (dip == 0 || fields.dipLen(dip));
}

} // namespace

// ---- per rule list

AaclChipRuleListLdeSeProfileMgrSm::AaclChipRuleListLdeSeProfileMgrSm(
    const Orim::ChipRuleListId& chipRuleListId,
    Norv::Ptr<const AaclSeProfileConfigEntry> configEntry,
    Norv::Ptr<AaclSeProfileStatusEntry> statusEntry,
    Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus)
    : chipRuleListId_(chipRuleListId), configEntry_(std::move(configEntry)),
      statusEntry_(std::move(statusEntry)),
      chipAaclStageStatus_(std::move(chipAaclStageStatus)) {
   if (configEntry_)
      notifieeConfigEntry_ = std::make_unique<NorvConfigEntry>(this, configEntry_);
   if (chipAaclStageStatus_) {
      notifieeChipAaclStageStatus_ =
          std::make_unique<NorvChipAaclStageStatus>(this, chipAaclStageStatus_);
   }
   handleInitialized();
}

void AaclChipRuleListLdeSeProfileMgrSm::handleInitialized() {
   NORV_TRACE(8, "AaclChipRuleListLdeSeProfileMgrSm:: chipRuleListId {}", chipRuleListId_);
   initializedIs(true);
   handleMaskGroupDescriptor();
}

void AaclChipRuleListLdeSeProfileMgrSm::handleMaskGroupDescriptor() {
   NORV_TRACE(8, "AaclChipRuleListLdeSeProfileMgrSm::");
   for (const auto& stageId :
        keysToVisit(configEntry_->maskGroupDescriptorColl(), statusEntry_->stageStatusColl())) {
      handleMaskGroupDescriptor(stageId);
   }
}

void AaclChipRuleListLdeSeProfileMgrSm::handleMaskGroupDescriptor(
    const Orim::StageId& stageId) {
   NORV_TRACE(8, "handleMaskGroupDescriptor stage {}", stageId);
   if (!initialized()) return;
   const Orim::MaskGroupDescriptor* config =
       configEntry_->maskGroupDescriptorColl().find(stageId);
   if (!config) {
      NORV_TRACE(5, " stage {} maskGroupDescriptor removed", stageId);
      statusEntry_->stageStatusDel(stageId);
      return;
   }
   Norv::Ptr<const AaclStageDescriptor> stageDescriptor =
       chipAaclStageStatus_->aaclStageDescriptor(stageId);
   if (!stageDescriptor) {
      // Decided when the stage's descriptor arrives.
      NORV_TRACE(5, " stage {} no stage descriptor yet", stageId);
      return;
   }
   const AaclSeProfileSet* ldeSeProfileSet =
       stageDescriptor->ldeMgTableLookupDesc().ldeSeProfileSet();
   NORV_ASSERT(ldeSeProfileSet);
   // Copied before publishing: the handlers of the status may change the configuration.
   const Orim::MaskGroupDescriptor maskGroupDescriptor = *config;
   Norv::Ptr<AaclSeProfileStageStatus> stageStatus = statusEntry_->stageStatusIs(stageId);
   stageStatus->maskGroupDescriptorIs(maskGroupDescriptor);

   const uint8_t sip = maskGroupDescriptor.srcIpMaskLength();
   const uint8_t dip = maskGroupDescriptor.dstIpMaskLength();
   if (sip == 0 && dip == 0) {
      NORV_TRACE(5, "No specific search profile required since SIP/DIP mask is 0");
      stageStatus->ldeSeProfileIdIs(XpXdk::XpSeProfileId(kSeProfileIdNotApplicable));
      stageStatus->resultIs(AaclSeProfileStatusResult::seProfileNotApplicable);
      return;
   }
   // Profiles are shared: the first one that fits is the rule list's, whoever else uses it.
   for (auto it = ldeSeProfileSet->aaclSuperkeyFieldsColl().begin(); it; ++it) {
      if (!carries(it.value(), sip, dip)) continue;
      NORV_TRACE(5, "Allocating SE profileId {}", it.key());
      stageStatus->ldeSeProfileIdIs(it.key());
      stageStatus->resultIs(AaclSeProfileStatusResult::seProfileFoundRequired);
      return;
   }
   NORV_TRACE(5, "Failed allocating SE Profile Id in stage {}", stageId);
   stageStatus->ldeSeProfileIdIs(XpXdk::XpSeProfileId(kSeProfileIdNotAvailable));
   stageStatus->resultIs(AaclSeProfileStatusResult::seProfileNotAvailable);
}

// ---- per chip

AaclChipLdeSeProfileMgrSm::AaclChipLdeSeProfileMgrSm(
    const Orim::ChipId& chipId,
    Norv::Ptr<const AaclChipSeProfileConfig> chipSearchProfileConfig,
    Norv::Ptr<AaclChipSeProfileStatus> chipSearchProfileStatus,
    Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus)
    : chipId_(chipId), chipSearchProfileConfig_(std::move(chipSearchProfileConfig)),
      chipSearchProfileStatus_(std::move(chipSearchProfileStatus)),
      chipAaclStageStatus_(std::move(chipAaclStageStatus)) {
   if (chipSearchProfileConfig_) {
      notifieeChipSearchProfileConfig_ =
          std::make_unique<NorvChipSearchProfileConfig>(this, chipSearchProfileConfig_);
   }
   handleInitialized();
}

void AaclChipLdeSeProfileMgrSm::handleInitialized() {
   NORV_TRACE(8, "AaclChipLdeSeProfileMgrSm:: chipId {}", chipId_);
   initializedIs(true);
   handleSeProfileConfigForChipRuleList();
}

void AaclChipLdeSeProfileMgrSm::handleSeProfileConfigForChipRuleList() {
   NORV_TRACE(8, "AaclChipLdeSeProfileMgrSm::");
   for (const auto& id : keysToVisit(chipSearchProfileConfig_->configEntryColl(),
                                     chipRuleListSeProfileMgrSmColl())) {
      handleSeProfileConfigForChipRuleList(id);
   }
}

void AaclChipLdeSeProfileMgrSm::handleSeProfileConfigForChipRuleList(
    const Orim::ChipRuleListId& chipRuleListId) {
   NORV_TRACE(8, "AaclChipLdeSeProfileMgrSm:: chipRuleListId {}", chipRuleListId);
   if (!initialized()) return;
   Norv::Ptr<const AaclSeProfileConfigEntry> configEntry =
       chipSearchProfileConfig_->configEntry(chipRuleListId);
   if (configEntry) {
      Norv::Ptr<AaclSeProfileStatusEntry> statusEntry =
          chipSearchProfileStatus_->statusEntryIs(chipRuleListId);
      chipRuleListSeProfileMgrSmIs(chipRuleListId, configEntry, statusEntry,
                                   chipAaclStageStatus_);
   } else {
      NORV_TRACE(5, "chipRuleListId {} removed ", chipRuleListId);
      chipRuleListSeProfileMgrSmDel(chipRuleListId);
      chipSearchProfileStatus_->statusEntryDel(chipRuleListId);
   }
}

Norv::Ptr<AaclChipRuleListLdeSeProfileMgrSm>
AaclChipLdeSeProfileMgrSm::chipRuleListSeProfileMgrSmIs(
    const Orim::ChipRuleListId& chipRuleListId,
    const Norv::Ptr<const AaclSeProfileConfigEntry>& configEntry,
    const Norv::Ptr<AaclSeProfileStatusEntry>& statusEntry,
    const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus) {
   auto sm = Norv::memberIs(
       chipRuleListSeProfileMgrSm_, chipRuleListId,
       [&] {
          return aaclChipRuleListLdeSeProfileMgrSmFactory(chipRuleListId, configEntry,
                                                          statusEntry, chipAaclStageStatus);
       },
       configEntry, statusEntry, chipAaclStageStatus);
   sm->aaclChipLdeSeProfileMgrSmIs(this);
   return sm;
}

// ---- system

AaclLdeSeProfileMgrSm::AaclLdeSeProfileMgrSm(Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                                             Norv::Ptr<AaclSeProfileStatus> seProfileStatus,
                                             Norv::Ptr<const AaclStageStatus> aaclStageStatus)
    : seProfileConfig_(std::move(seProfileConfig)),
      seProfileStatus_(std::move(seProfileStatus)),
      aaclStageStatus_(std::move(aaclStageStatus)) {
   if (aaclStageStatus_) {
      notifieeAaclStageStatus_ = std::make_unique<NorvAaclStageStatus>(this, aaclStageStatus_);
   }
   handleInitialized();
}

void AaclLdeSeProfileMgrSm::handleInitialized() {
   NORV_TRACE(8, "AaclLdeSeProfileMgrSm::");
   initializedIs(true);
   handleChipStageStatus();
}

void AaclLdeSeProfileMgrSm::handleChipStageStatus() {
   NORV_TRACE(8, "AaclLdeSeProfileMgrSm::");
   for (const auto& chipId :
        keysToVisit(aaclStageStatus_->aaclChipStageStatusColl(), chipLdeSeProfileMgrSmColl())) {
      handleChipStageStatus(chipId);
   }
}

void AaclLdeSeProfileMgrSm::handleChipStageStatus(const Orim::ChipId& chipId) {
   NORV_TRACE(8, "AaclLdeSeProfileMgrSm:: chipId {}", chipId);
   if (!initialized()) return;
   Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus =
       aaclStageStatus_->aaclChipStageStatus(chipId);
   if (chipAaclStageStatus) {
      NORV_TRACE(5, " insert chipId {}", chipId);
      seProfileConfig_->chipSeProfileConfigIs(chipId);
      seProfileStatus_->chipSeProfileStatusIs(chipId);
      Norv::Ptr<const AaclChipSeProfileConfig> chipSearchProfileConfig =
          seProfileConfig_->chipSeProfileConfig(chipId);
      Norv::Ptr<AaclChipSeProfileStatus> chipSearchProfileStatus =
          seProfileStatus_->chipSeProfileStatus(chipId);
      NORV_ASSERT(chipSearchProfileConfig);
      NORV_ASSERT(chipSearchProfileStatus);
      NORV_ASSERT(chipAaclStageStatus);
      chipLdeSeProfileMgrSmIs(chipId, chipSearchProfileConfig, chipSearchProfileStatus,
                              chipAaclStageStatus);
   } else {
      NORV_TRACE(5, " remove chipId {}", chipId);
      seProfileStatus_->chipSeProfileStatusDel(chipId);
      seProfileConfig_->chipSeProfileConfigDel(chipId);
      chipLdeSeProfileMgrSmDel(chipId);
   }
}

Norv::Ptr<AaclChipLdeSeProfileMgrSm> AaclLdeSeProfileMgrSm::chipLdeSeProfileMgrSmIs(
    const Orim::ChipId& chipId,
    const Norv::Ptr<const AaclChipSeProfileConfig>& chipSearchProfileConfig,
    const Norv::Ptr<AaclChipSeProfileStatus>& chipSearchProfileStatus,
    const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus) {
   auto sm = Norv::memberIs(
       chipLdeSeProfileMgrSm_, chipId,
       [&] {
          return aaclChipLdeSeProfileMgrSmFactory(chipId, chipSearchProfileConfig,
                                                  chipSearchProfileStatus, chipAaclStageStatus);
       },
       chipSearchProfileConfig, chipSearchProfileStatus, chipAaclStageStatus);
   sm->aaclLdeSeProfileMgrSmIs(this);
   return sm;
}

Norv::Ptr<AaclLdeSeProfileMgrSm>
aaclLdeSeProfileMgrSmFactory(Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                             Norv::Ptr<AaclSeProfileStatus> seProfileStatus,
                             Norv::Ptr<const AaclStageStatus> aaclStageStatus) {
   return new AaclLdeSeProfileMgrSm(std::move(seProfileConfig), std::move(seProfileStatus),
                                    std::move(aaclStageStatus));
}

Norv::Ptr<AaclChipLdeSeProfileMgrSm>
aaclChipLdeSeProfileMgrSmFactory(const Orim::ChipId& chipId,
                                 Norv::Ptr<const AaclChipSeProfileConfig> chipSeProfileConfig,
                                 Norv::Ptr<AaclChipSeProfileStatus> chipSeProfileStatus,
                                 Norv::Ptr<const AaclChipStageStatus> chipStageStatus) {
   return new AaclChipLdeSeProfileMgrSm(chipId, std::move(chipSeProfileConfig),
                                        std::move(chipSeProfileStatus),
                                        std::move(chipStageStatus));
}

Norv::Ptr<AaclChipRuleListLdeSeProfileMgrSm>
aaclChipRuleListLdeSeProfileMgrSmFactory(const Orim::ChipRuleListId& chipRuleListId,
                                         Norv::Ptr<const AaclSeProfileConfigEntry> configEntry,
                                         Norv::Ptr<AaclSeProfileStatusEntry> statusEntry,
                                         Norv::Ptr<const AaclChipStageStatus> chipStageStatus) {
   return new AaclChipRuleListLdeSeProfileMgrSm(chipRuleListId, std::move(configEntry),
                                                std::move(statusEntry),
                                                std::move(chipStageStatus));
}

} // namespace XpAcl
