// The per-rule-list key-select reactors: the SE-profile requests made from a rule list's mask
// groups, and the reaction to each stage's SE-profile result.
#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "xpacl/agent/XpAclKeysToVisit.h"
#include "xpacl/maskgroup/XpAclMgksConfigSm.h"

NORV_TRACE_HANDLE("XpAclMgksConfigSm");

namespace XpAcl {

// ---- one stage's SE-profile result

NorvSeProfileStageStatusSm::NorvSeProfileStageStatusSm(
    const Orim::StageId& stageId,
    Norv::Ptr<const AaclSeProfileStageStatus> seProfileStageStatus,
    NorvSeProfileStageEntrySm* parent)
    : stageId_(stageId), seProfileStageStatus_(std::move(seProfileStageStatus)),
      parent_(parent), notifiee_(this, seProfileStageStatus_) {
   handleInitialized();
}

bool NorvSeProfileStageStatusSm::allocated() const {
   const auto result = seProfileStageStatus_->result();
   return result == AaclSeProfileStatusResult::seProfileFoundRequired ||
          result == AaclSeProfileStatusResult::seProfileNotApplicable;
}

void NorvSeProfileStageStatusSm::handleInitialized() {
   NORV_TRACE(8, "NorvSeProfileStageStatusSm::handleInitialized stageId {}", stageId_);
   initializedIs(true);
   handleSeProfileAllocResult();
}

void NorvSeProfileStageStatusSm::handleSeProfileAllocResult() {
   MgksConfigChipSm* chipSm = parent_->chipSm();
   NORV_ASSERT(initialized());
   NORV_ASSERT(chipSm->chipAaclStageStatus());
   NORV_TRACE(8,
              "SeProfileStageEntrySm::handleSeProfileAllocResult chipRuleListId {} stageId {} "
              "result {}",
              parent_->chipRuleListId(), stageId_, seProfileStageStatus_->result());
   if (allocated()) {
      chipSm->insertMgksStageTableEntries(parent_->chipRuleListId(), stageId_,
                                          seProfileStageStatus_->maskGroupDescriptor(),
                                          seProfileStageStatus_->ldeSeProfileId());
   } else {
      chipSm->removeMgksStageTableEntries(parent_->chipRuleListId(), stageId_);
   }
}

// The allocation is withdrawn: the stage's entries leave the chip.
void NorvSeProfileStageStatusSm::doCleanup() {
   NORV_TRACE(8, "NorvSeProfileStageStatusSm::doCleanup stageId {}", stageId_);
   parent_->chipSm()->removeMgksStageTableEntries(parent_->chipRuleListId(), stageId_);
}

// ---- one rule list's SE-profile results

NorvSeProfileStageEntrySm::NorvSeProfileStageEntrySm(
    const Orim::ChipRuleListId& chipRuleListId,
    Norv::Ptr<const AaclSeProfileStatusEntry> seProfileStatusEntry, MgksConfigChipSm* chipSm)
    : chipRuleListId_(chipRuleListId), seProfileStatusEntry_(std::move(seProfileStatusEntry)),
      chipSm_(chipSm), notifiee_(this, seProfileStatusEntry_) {
   handleInitialized();
}

void NorvSeProfileStageEntrySm::handleInitialized() {
   NORV_TRACE(8, "NorvSeProfileStageEntrySm::handleInitialized chipRuleListId {}",
              chipRuleListId_);
   initializedIs(true);
   handleStageStatus();
}

void NorvSeProfileStageEntrySm::handleStageStatus() {
   NORV_TRACE(8, "NorvSeProfileStageEntrySm::handleStageStatus chipRuleListId {}",
              chipRuleListId_);
   for (const auto& stageId :
        keysToVisit(seProfileStatusEntry_->stageStatusColl(), stageStatusSmColl())) {
      handleStageStatus(stageId);
   }
}

void NorvSeProfileStageEntrySm::handleStageStatus(const Orim::StageId& stageId) {
   NORV_TRACE(8, "NorvSeProfileStageEntrySm::handleStageStatus stageId {}", stageId);
   if (!initialized()) return;
   Norv::Ptr<const AaclSeProfileStageStatus> status =
       seProfileStatusEntry_->stageStatus(stageId);
   if (auto old = stageStatusSm(stageId); old && old->seProfileStageStatus() != status) {
      stageStatusSmDel(stageId);
   }
   if (!status) return;
   Norv::memberIs(
       stageStatusSm_, stageId,
       [&] {
          return Norv::Ptr<NorvSeProfileStageStatusSm>(
              new NorvSeProfileStageStatusSm(stageId, status, this));
       },
       status);
}

// ---- one rule list's mask groups

NorvChipRuleListCfgSm::NorvChipRuleListCfgSm(
    const Orim::ChipRuleListId& chipRuleListId,
    Norv::Ptr<const Orim::ChipRuleListCfg> chipRuleListCfg, MgksConfigChipSm* chipSm)
    : chipRuleListId_(chipRuleListId), chipRuleListCfg_(std::move(chipRuleListCfg)),
      chipSm_(chipSm), notifiee_(this, chipRuleListCfg_) {
   handleInitialized();
}

const Norv::Ptr<AaclChipSeProfileConfig>& NorvChipRuleListCfgSm::chipSeProfileConfig() const {
   return chipSm_->chipSeProfileConfig();
}

void NorvChipRuleListCfgSm::handleInitialized() {
   NORV_TRACE(8, "NorvChipRuleListCfgSm::handleInitialized chipRuleListId {}", chipRuleListId_);
   initializedIs(true);
   handleStageMg();
}

void NorvChipRuleListCfgSm::handleStageMg() {
   NORV_TRACE(8, "NorvChipRuleListCfgSm::handleStageMg chipRuleListId {}", chipRuleListId_);
   // Stages requested before and no longer configured are visited too.
   auto entry = chipSeProfileConfig()->configEntry(chipRuleListId_);
   const auto stages =
       entry ? keysToVisit(chipRuleListCfg_->stageMgColl(), entry->maskGroupDescriptorColl())
             : keysToVisit(chipRuleListCfg_->stageMgColl(), chipRuleListCfg_->stageMgColl());
   for (const auto& stageId : stages)
      handleStageMg(stageId);
}

void NorvChipRuleListCfgSm::handleStageMg(const Orim::StageId& stageId) {
   NORV_ASSERT(initialized());
   NORV_ASSERT(chipSeProfileConfig());
   NORV_TRACE(8, "NorvChipRuleListCfgSm::handleStageMg stage {}", stageId);
   const Orim::MaskGroupDescriptor* descriptor = chipRuleListCfg_->stageMgColl().find(stageId);
   if (!descriptor) {
      NORV_TRACE(5, "Remove chip rule list");
      chipSm_->removeMgksStageTableEntries(chipRuleListId_, stageId);
      withdrawRequest(stageId);
      return;
   }
   Norv::Ptr<AaclSeProfileConfigEntry> entry =
       chipSeProfileConfig()->configEntry(chipRuleListId_);
   if (!entry) entry = chipSeProfileConfig()->configEntryIs(chipRuleListId_);
   const Orim::MaskGroupDescriptor* requested = entry->maskGroupDescriptorColl().find(stageId);
   if (requested && *requested == *descriptor) return;
   // Copied: the SE-profile manager answers while the request is being written.
   const Orim::MaskGroupDescriptor wanted = *descriptor;
   entry->maskGroupDescriptorIs(stageId, wanted);
}

void NorvChipRuleListCfgSm::withdrawRequest(const Orim::StageId& stageId) {
   Norv::Ptr<AaclSeProfileConfigEntry> entry =
       chipSeProfileConfig()->configEntry(chipRuleListId_);
   if (!entry) return;
   entry->maskGroupDescriptorDel(stageId);
   if (entry->maskGroupDescriptorCount() == 0)
      chipSeProfileConfig()->configEntryDel(chipRuleListId_);
}

void NorvChipRuleListCfgSm::doCleanup() {
   NORV_TRACE(8, "NorvChipRuleListCfgSm::doCleanup chipRuleListId {}", chipRuleListId_);
   Norv::Ptr<AaclSeProfileConfigEntry> entry =
       chipSeProfileConfig()->configEntry(chipRuleListId_);
   if (!entry) return;
   std::vector<Orim::StageId> stages;
   for (auto it = entry->maskGroupDescriptorColl().begin(); it; ++it)
      stages.push_back(it.key());
   for (const auto& stageId : stages)
      chipSm_->removeMgksStageTableEntries(chipRuleListId_, stageId);
   chipSeProfileConfig()->configEntryDel(chipRuleListId_);
}

} // namespace XpAcl
