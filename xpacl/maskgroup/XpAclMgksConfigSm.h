#pragma once

// Keeps the chips' mask-group key-select (MGKS) tables: for every chip rule list and every
// stage where it has a mask group, requests an SE profile for it, and when one is found (or
// none is needed) writes one MGKS entry per hardware key of the list; publishes each entry's
// outcome in MgksStatus.
//
// Every input is followed to the same end state whatever the order it arrives in:
// - the chip reactor exists while the chip's data-flow configuration, stage status and
//   SE-profile status (with its configuration) all exist, and is rebuilt when any of those is
//   replaced by another entity; building it replays every key, rule list and SE-profile result;
// - the SE-profile requests follow the rule lists' per-stage mask groups;
// - the entries of a (rule list, stage) follow the SE-profile result of that pair, for every
//   key that names the rule list now; a key's entries follow the key (added, moved to another
//   rule list, removed).
#include <memory>

#include "norv/Attributes.h"
#include "norv/FlatHashMap.h"
#include "norv/Reactor.h"
#include "platform/OrimDataFlow.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclMgksStatus.h"
#include "xpacl/model/XpAclOrimTypes.h"

class xpMgksMgr;
struct xpMgksEntry;

namespace XpAcl {

class MgksConfigSm;
class MgksConfigChipSm;
struct MgksEntryFields;
class NorvSeProfileStageEntrySm;

// One rule list's SE-profile result at one stage.
class NorvSeProfileStageStatusSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::NorvSeProfileStageStatusSm")
   class NorvStageStatus : public AaclSeProfileStageStatus::NotifieeConst {
   public:
      NorvStageStatus(NorvSeProfileStageStatusSm* sm,
                      Norv::Ptr<const AaclSeProfileStageStatus> n)
          : NotifieeConst(sm, std::move(n)), sm_(sm) {}
      void onMaskGroupDescriptor() override { sm_->handleSeProfileAllocResult(); }
      void onLdeSeProfileId() override { sm_->handleSeProfileAllocResult(); }
      void onResult() override { sm_->handleSeProfileAllocResult(); }

   private:
      NorvSeProfileStageStatusSm* sm_;
   };

   NorvSeProfileStageStatusSm(const Orim::StageId& stageId,
                              Norv::Ptr<const AaclSeProfileStageStatus> seProfileStageStatus,
                              NorvSeProfileStageEntrySm* parent);

   const Orim::StageId& stageId() const { return stageId_; }
   const Norv::Ptr<const AaclSeProfileStageStatus>& seProfileStageStatus() const {
      return seProfileStageStatus_;
   }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_seProfileStageStatus"};
   auto norvCtorAttrs() const { return std::make_tuple(seProfileStageStatus_); }
   // True when the result asks for entries: a profile was found, or none is needed.
   bool allocated() const;

   void handleInitialized() override;
   void handleSeProfileAllocResult();
   void doCleanup() override;

private:
   Orim::StageId stageId_;
   Norv::Ptr<const AaclSeProfileStageStatus> seProfileStageStatus_;
   NorvSeProfileStageEntrySm* parent_;
   NorvStageStatus notifiee_;
};

// One rule list's SE-profile results, one nested reactor per stage.
class NorvSeProfileStageEntrySm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::NorvSeProfileStageEntrySm")
   NORV_FORWARDING_NOTIFIEE(NorvStatusEntry, AaclSeProfileStatusEntry,
                            NorvSeProfileStageEntrySm, StageStatus, Orim::StageId,
                            handleStageStatus)

   NorvSeProfileStageEntrySm(const Orim::ChipRuleListId& chipRuleListId,
                             Norv::Ptr<const AaclSeProfileStatusEntry> seProfileStatusEntry,
                             MgksConfigChipSm* chipSm);

   const Orim::ChipRuleListId& chipRuleListId() const { return chipRuleListId_; }
   const Norv::Ptr<const AaclSeProfileStatusEntry>& seProfileStatusEntry() const {
      return seProfileStatusEntry_;
   }
   MgksConfigChipSm* chipSm() const { return chipSm_; }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_seProfileStatusEntry"};
   auto norvCtorAttrs() const { return std::make_tuple(seProfileStatusEntry_); }

   NORV_REACTOR_COLL(stageStatusSm, StageStatusSm, Orim::StageId, NorvSeProfileStageStatusSm,
                     Norv::HashMap)
public:
   void handleInitialized() override;
   void handleStageStatus(const Orim::StageId& stageId);
   void handleStageStatus();
   void doCleanup() override { stageStatusSmDelAll(); }

private:
   Orim::ChipRuleListId chipRuleListId_;
   Norv::Ptr<const AaclSeProfileStatusEntry> seProfileStatusEntry_;
   MgksConfigChipSm* chipSm_;
   NorvStatusEntry notifiee_;
};

// One rule list's mask groups: each becomes the SE-profile request of its stage.
class NorvChipRuleListCfgSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::NorvChipRuleListCfgSm")
   NORV_FORWARDING_NOTIFIEE(NorvRuleListCfg, Orim::ChipRuleListCfg, NorvChipRuleListCfgSm,
                            StageMg, Orim::StageId, handleStageMg)

   NorvChipRuleListCfgSm(const Orim::ChipRuleListId& chipRuleListId,
                         Norv::Ptr<const Orim::ChipRuleListCfg> chipRuleListCfg,
                         MgksConfigChipSm* chipSm);

   const Orim::ChipRuleListId& chipRuleListId() const { return chipRuleListId_; }
   const Norv::Ptr<const Orim::ChipRuleListCfg>& chipRuleListCfg() const {
      return chipRuleListCfg_;
   }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_chipRuleListCfg"};
   auto norvCtorAttrs() const { return std::make_tuple(chipRuleListCfg_); }

   void handleInitialized() override;
   void handleStageMg(const Orim::StageId& stageId);
   void handleStageMg();
   // The rule list goes: its entries leave the chip and its requests are withdrawn.
   void doCleanup() override;

private:
   const Norv::Ptr<AaclChipSeProfileConfig>& chipSeProfileConfig() const;
   // Withdraws the stage's request; the rule list's configuration entry goes with its last.
   void withdrawRequest(const Orim::StageId& stageId);

   Orim::ChipRuleListId chipRuleListId_;
   Norv::Ptr<const Orim::ChipRuleListCfg> chipRuleListCfg_;
   MgksConfigChipSm* chipSm_;
   NorvRuleListCfg notifiee_;
};

// One chip: its rule lists, its SE-profile results and its MGKS tables.
class MgksConfigChipSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::MgksConfigChipSm")
   NORV_FORWARDING_NOTIFIEE(NorvChipRuleListKeys, Orim::ChipDataFlowConfig, MgksConfigChipSm,
                            ChipRuleListKeyToId, Orim::ChipRuleListIdKey,
                            handleChipRuleListKeyToId)
   NORV_FORWARDING_NOTIFIEE(NorvChipRuleLists, Orim::ChipDataFlowConfig, MgksConfigChipSm,
                            ChipRuleListCfg, Orim::ChipRuleListId, handleChipRuleListCfg)
   NORV_FORWARDING_NOTIFIEE(NorvChipSeProfileStatus, AaclChipSeProfileStatus, MgksConfigChipSm,
                            StatusEntry, Orim::ChipRuleListId, handleSeProfileStatusEntry)
   NORV_FORWARDING_NOTIFIEE(NorvChipAaclStageStatus, AaclChipStageStatus, MgksConfigChipSm,
                            AaclStageDescriptor, Orim::StageId, handleAaclStageDescriptor)

   MgksConfigChipSm(const Orim::ChipId& chipId,
                    Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                    Norv::Ptr<AaclChipSeProfileConfig> chipSeProfileConfig,
                    Norv::Ptr<const AaclChipSeProfileStatus> chipSeProfileStatus,
                    Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus,
                    Norv::Ptr<MgksChipStatus> mgksChipStatus);

   const Orim::ChipId& chipId() const { return chipId_; }
   const Norv::Ptr<const Orim::ChipDataFlowConfig>& chipDataFlowConfig() const {
      return chipDataFlowConfig_;
   }
   const Norv::Ptr<AaclChipSeProfileConfig>& chipSeProfileConfig() const {
      return chipSeProfileConfig_;
   }
   const Norv::Ptr<const AaclChipSeProfileStatus>& chipSeProfileStatus() const {
      return chipSeProfileStatus_;
   }
   const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus() const {
      return chipAaclStageStatus_;
   }
   const Norv::Ptr<MgksChipStatus>& mgksChipStatus() const { return mgksChipStatus_; }
   static constexpr std::array<const char*, 4> norvCtorAttrNames{
       "_chipDataFlowConfig", "_chipSeProfileConfig", "_chipSeProfileStatus",
       "_chipAaclStageStatus"};
   auto norvCtorAttrs() const {
      return std::make_tuple(chipDataFlowConfig_, chipSeProfileConfig_, chipSeProfileStatus_,
                             chipAaclStageStatus_);
   }
   static xpMgksMgr* mgksMgr();

   NORV_REACTOR_COLL(chipRuleListCfgSm, ChipRuleListCfgSm, Orim::ChipRuleListId,
                     NorvChipRuleListCfgSm, Norv::HashMap)
   NORV_REACTOR_COLL(seProfileStageEntrySm, SeProfileStageEntrySm, Orim::ChipRuleListId,
                     NorvSeProfileStageEntrySm, Norv::HashMap)
public:
   void handleInitialized() override;
   void handleChipRuleListKeyToId(const Orim::ChipRuleListIdKey& key);
   void handleChipRuleListKeyToId();
   void handleChipRuleListCfg(const Orim::ChipRuleListId& chipRuleListId);
   void handleChipRuleListCfg();
   void handleSeProfileStatusEntry(const Orim::ChipRuleListId& chipRuleListId);
   void handleSeProfileStatusEntry();
   // A stage's descriptor changed: its MGKS table id is read afresh.
   void handleAaclStageDescriptor(const Orim::StageId& stageId);
   void handleAaclStageDescriptor();
   void doCleanup() override;

   void insertMgksStageTableEntries(const Orim::ChipRuleListId& chipRuleListId,
                                    const Orim::StageId& stageId,
                                    const Orim::MaskGroupDescriptor& maskGroupDescriptor,
                                    const XpXdk::XpSeProfileId& seProfileId);
   void insertMgksTableEntry(const Orim::ChipRuleListIdKey& key,
                             const Orim::ChipRuleListId& chipRuleListId,
                             const Orim::StageId& stageId,
                             const Orim::MaskGroupDescriptor& maskGroupDesc,
                             const XpXdk::XpSeProfileId& seProfileId);
   void removeMgksTableEntry(const Orim::StageId& stageId,
                             const Norv::Ptr<MgksStageStatus>& stageStatus);
   void removeMgksStageTableEntries(const Orim::ChipRuleListId& chipRuleListId,
                                    const Orim::StageId& stageId);
   // The stage's MGKS table, from the stage's descriptor.
   AaclMgksTableId mgksTableIdOf(const Orim::StageId& stageId) const;

   // Prints the stage's MGKS table to `fd`.
   XPACL_EXPORT void doShowTblEntries(int fd, const Orim::StageId& stageId) const;

private:
   // insertMgksTableEntry with the key's status entry and stage status at hand.
   void writeMgksTableEntry(const Orim::ChipRuleListIdKey& key,
                            const Orim::ChipRuleListId& chipRuleListId,
                            const Orim::StageId& stageId,
                            const Orim::MaskGroupDescriptor& maskGroupDesc,
                            const XpXdk::XpSeProfileId& seProfileId,
                            MgksStatusEntry* statusEntry, MgksStageStatus* stageStatus);
   // writeMgksTableEntry once the entry is packed (`fields` as packed into `tblEntry`): a key's
   // stages that share a mask group and profile pack it once.
   void writePackedMgksTableEntry(const Orim::ChipRuleListIdKey& key,
                                  const Orim::StageId& stageId,
                                  const Orim::MaskGroupDescriptor& maskGroupDesc,
                                  const XpXdk::XpSeProfileId& seProfileId,
                                  const MgksEntryFields& fields, const xpMgksEntry& tblEntry,
                                  MgksStatusEntry* statusEntry, MgksStageStatus* stageStatus);
   // Takes every entry of the key out of the chip and drops its status.
   void dropKey(const Orim::ChipRuleListIdKey& key);

   Orim::ChipId chipId_;
   Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig_;
   Norv::Ptr<AaclChipSeProfileConfig> chipSeProfileConfig_;
   Norv::Ptr<const AaclChipSeProfileStatus> chipSeProfileStatus_;
   Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus_;
   Norv::Ptr<MgksChipStatus> mgksChipStatus_;
   NorvChipRuleListKeys notifieeKeys_;
   NorvChipRuleLists notifieeRuleLists_;
   NorvChipSeProfileStatus notifieeSeProfileStatus_;
   NorvChipAaclStageStatus notifieeAaclStageStatus_;
   // Each stage's MGKS table id as last read from its descriptor: read once per stage rather
   // than once per entry.
   mutable Norv::FlatHashMap<Orim::StageId, uint8_t> mgksTableIdOfStage_;
};

// Top level: one chip reactor per chip whose inputs are all there.
class MgksConfigSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::MgksConfigSm")
   NORV_FORWARDING_NOTIFIEE(NorvDataFlowConfig, Orim::DataFlowConfig, MgksConfigSm,
                            ChipDataFlowConfig, Orim::ChipId, handleChipDataFlowConfig)
   NORV_FORWARDING_NOTIFIEE(NorvSeProfileStatus, AaclSeProfileStatus, MgksConfigSm,
                            ChipSeProfileStatus, Orim::ChipId, handleChipDataFlowConfig)
   NORV_FORWARDING_NOTIFIEE(NorvAaclStageStatus, AaclStageStatus, MgksConfigSm,
                            AaclChipStageStatus, Orim::ChipId, handleChipDataFlowConfig)

   MgksConfigSm(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                Norv::Ptr<const AaclSeProfileStatus> seProfileStatus,
                Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                Norv::Ptr<MgksStatus> mgksStatus);
   ~MgksConfigSm() override;

   const Norv::Ptr<const Orim::DataFlowConfig>& dataFlowConfig() const {
      return dataFlowConfig_;
   }
   const Norv::Ptr<AaclSeProfileConfig>& seProfileConfig() const { return seProfileConfig_; }
   const Norv::Ptr<const AaclSeProfileStatus>& seProfileStatus() const {
      return seProfileStatus_;
   }
   const Norv::Ptr<const AaclStageStatus>& aaclStageStatus() const { return aaclStageStatus_; }
   const Norv::Ptr<MgksStatus>& mgksStatus() const { return mgksStatus_; }

   NORV_REACTOR_COLL(chipSm, ChipSm, Orim::ChipId, MgksConfigChipSm, Norv::HashMap)
public:
   void handleInitialized() override;
   void handleChipDataFlowConfig(const Orim::ChipId& chipId);
   void handleChipDataFlowConfig();

private:
   void chipSmDrop(const Orim::ChipId& chipId);

   Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig_;
   Norv::Ptr<AaclSeProfileConfig> seProfileConfig_;
   Norv::Ptr<const AaclSeProfileStatus> seProfileStatus_;
   Norv::Ptr<const AaclStageStatus> aaclStageStatus_;
   Norv::Ptr<MgksStatus> mgksStatus_;
   std::unique_ptr<NorvDataFlowConfig> notifieeDataFlowConfig_;
   std::unique_ptr<NorvSeProfileStatus> notifieeSeProfileStatus_;
   std::unique_ptr<NorvAaclStageStatus> notifieeAaclStageStatus_;
};

XPACL_EXPORT Norv::Ptr<MgksConfigSm>
mgksConfigSmFactory(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                    Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                    Norv::Ptr<const AaclSeProfileStatus> seProfileStatus,
                    Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                    Norv::Ptr<MgksStatus> mgksStatus);

} // namespace XpAcl
