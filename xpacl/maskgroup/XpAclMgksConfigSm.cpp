// The top-level and per-chip key-select reactors; the per-rule-list ones are in
// XpAclMgksRuleListSm.cpp, under the same trace handle.
#include "xpacl/maskgroup/XpAclMgksConfigSm.h"

#include <cstdio>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpMgksMgr.h"
#include "xdk/xpSdk.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/agent/XpAclKeysToVisit.h"
#include "xpacl/maskgroup/XpAclMgksEntry.h"
#include "xpacl/sdk/XpXdkApiMacros.h"

NORV_TRACE_HANDLE("XpAclMgksConfigSm");

namespace XpAcl {

namespace {

xpMgksMgr* _mgksMgr = nullptr;
unsigned mgksMgrGeneration = 0;

constexpr const char* kSeparator =
    "-------|-----|-------|-------|---------|---------|---|---|---|"
    "-----|-----|---|----|---|----|----|--------+\n";

} // namespace

xpMgksMgr* MgksConfigChipSm::mgksMgr() {
   if (!_mgksMgr || mgksMgrGeneration != xpSdkGeneration()) [[unlikely]] {
      _mgksMgr = xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
      mgksMgrGeneration = xpSdkGeneration();
      NORV_ASSERT(_mgksMgr);
   }
   return _mgksMgr;
}

// ---- per chip

MgksConfigChipSm::MgksConfigChipSm(const Orim::ChipId& chipId,
                                   Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                                   Norv::Ptr<AaclChipSeProfileConfig> chipSeProfileConfig,
                                   Norv::Ptr<const AaclChipSeProfileStatus> chipSeProfileStatus,
                                   Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus,
                                   Norv::Ptr<MgksChipStatus> mgksChipStatus)
    : chipId_(chipId), chipDataFlowConfig_(std::move(chipDataFlowConfig)),
      chipSeProfileConfig_(std::move(chipSeProfileConfig)),
      chipSeProfileStatus_(std::move(chipSeProfileStatus)),
      chipAaclStageStatus_(std::move(chipAaclStageStatus)),
      mgksChipStatus_(std::move(mgksChipStatus)), notifieeKeys_(this, chipDataFlowConfig_),
      notifieeRuleLists_(this, chipDataFlowConfig_),
      notifieeSeProfileStatus_(this, chipSeProfileStatus_),
      notifieeAaclStageStatus_(this, chipAaclStageStatus_) {
   handleInitialized();
}

void MgksConfigChipSm::handleInitialized() {
   NORV_TRACE(8, "MgksConfigChipSm::handleInitialized chipId {}", chipId_);
   initializedIs(true);
   // Keys first, so that the results replayed next find every key of their rule list.
   handleChipRuleListKeyToId();
   handleSeProfileStatusEntry();
   handleChipRuleListCfg();
}

void MgksConfigChipSm::doCleanup() {
   NORV_TRACE(8, "MgksConfigChipSm::doCleanup chipId {}", chipId_);
   // Stop following the inputs: the withdrawals below change the SE-profile results.
   initializedIs(false);
   seProfileStageEntrySmDelAll();
   std::vector<Orim::ChipRuleListIdKey> keys;
   for (auto it = mgksChipStatus_->statusEntryColl().begin(); it; ++it)
      keys.push_back(it.key());
   for (const auto& key : keys)
      dropKey(key);
   chipRuleListCfgSmDelAll();
}

void MgksConfigChipSm::handleChipRuleListKeyToId() {
   NORV_TRACE(8, "MgksConfigChipSm::handleChipRuleListKeyToId chipId {}", chipId_);
   for (const auto& key : keysToVisit(chipDataFlowConfig_->chipRuleListKeyToIdColl(),
                                      mgksChipStatus_->statusEntryColl())) {
      handleChipRuleListKeyToId(key);
   }
}

void MgksConfigChipSm::handleChipRuleListKeyToId(const Orim::ChipRuleListIdKey& key) {
   NORV_TRACE(8,
              "MgksConfigChipSm::handleChipRuleListKeyToId chipRuleListIdKey( hwAclIndex: {}, "
              "protocolType: {}, tableType: {}",
              key.hwAclIndex(), key.protocolType(), key.tableType());
   if (!initialized()) return;
   const Orim::ChipRuleListId* chipRuleListId =
       chipDataFlowConfig_->chipRuleListKeyToIdColl().find(key);
   Norv::Ptr<MgksStatusEntry> statusEntry = mgksChipStatus_->statusEntry(key);
   if (statusEntry && (!chipRuleListId || statusEntry->chipRuleListId() != *chipRuleListId)) {
      dropKey(key);
      statusEntry = nullptr;
   }
   if (!chipRuleListId) return;
   const Orim::ChipRuleListId id = *chipRuleListId;
   // A new key's status has no stage yet: its stage statuses are created without a look-up.
   const bool fresh = !statusEntry;
   if (fresh) {
      statusEntry = mgksChipStatus_->newStatusEntry(key);
      statusEntry->chipRuleListIdIs(id);
   }
   // The stages already set up for the rule list get the key's entries.
   Norv::Ptr<NorvSeProfileStageEntrySm> entrySm = seProfileStageEntrySm(id);
   if (!entrySm) return;
   // Stages usually share the mask group and profile: the entry is packed again only when
   // they change from one stage to the next.
   std::optional<Orim::MaskGroupDescriptor> packedDesc;
   XpXdk::XpSeProfileId packedProfile;
   std::optional<MgksEntryFields> fields;
   xpMgksEntry tblEntry{};
   for (auto it = entrySm->stageStatusSmColl().begin(); it; ++it) {
      const NorvSeProfileStageStatusSm& stageSm = *it.value();
      if (!stageSm.allocated()) continue;
      const AaclSeProfileStageStatus& st = *stageSm.seProfileStageStatus();
      Norv::Ptr<MgksStageStatus> stageStatus = fresh ? statusEntry->newMgksStageStatus(it.key())
                                                     : statusEntry->mgksStageStatusIs(it.key());
      const Orim::MaskGroupDescriptor& desc = st.maskGroupDescriptor();
      const XpXdk::XpSeProfileId profile = st.ldeSeProfileId();
      if (!packedDesc || !(*packedDesc == desc) || !(packedProfile == profile)) {
         fields = mgksEntryFields(key, id, desc, profile.value());
         if (fields) tblEntry = packMgksEntry(*fields);
         packedDesc = desc;
         packedProfile = profile;
      }
      if (!fields) continue;
      writePackedMgksTableEntry(key, it.key(), desc, profile, *fields, tblEntry,
                                statusEntry.ptr(), stageStatus.ptr());
   }
}

void MgksConfigChipSm::dropKey(const Orim::ChipRuleListIdKey& key) {
   Norv::Ptr<MgksStatusEntry> statusEntry = mgksChipStatus_->statusEntry(key);
   if (!statusEntry) return;
   std::vector<Orim::StageId> stages;
   for (auto it = statusEntry->mgksStageStatusColl().begin(); it; ++it)
      stages.push_back(it.key());
   for (const auto& stageId : stages) {
      removeMgksTableEntry(stageId, statusEntry->mgksStageStatus(stageId));
      statusEntry->mgksStageStatusDel(stageId);
   }
   mgksChipStatus_->statusEntryDel(key);
}

void MgksConfigChipSm::handleChipRuleListCfg() {
   NORV_TRACE(8, "MgksConfigChipSm::handleChipRuleListCfg chipId {}", chipId_);
   for (const auto& id :
        keysToVisit(chipDataFlowConfig_->chipRuleListCfgColl(), chipRuleListCfgSmColl())) {
      handleChipRuleListCfg(id);
   }
}

void MgksConfigChipSm::handleChipRuleListCfg(const Orim::ChipRuleListId& chipRuleListId) {
   NORV_TRACE(8, "MgksConfigChipSm::handleChipRuleListCfg chipRuleListId {}", chipRuleListId);
   if (!initialized()) return;
   Norv::Ptr<const Orim::ChipRuleListCfg> cfg =
       chipDataFlowConfig_->chipRuleListCfg(chipRuleListId);
   // A list replaced by another entity under the same id starts afresh.
   if (auto old = chipRuleListCfgSm(chipRuleListId); old && old->chipRuleListCfg() != cfg) {
      chipRuleListCfgSmDel(chipRuleListId);
   }
   if (!cfg) return;
   Norv::memberIs(
       chipRuleListCfgSm_, chipRuleListId,
       [&] {
          return Norv::Ptr<NorvChipRuleListCfgSm>(
              new NorvChipRuleListCfgSm(chipRuleListId, cfg, this));
       },
       cfg);
}

void MgksConfigChipSm::handleSeProfileStatusEntry() {
   NORV_TRACE(8, "MgksConfigChipSm::handleSeProfileStatusEntry chipId {}", chipId_);
   for (const auto& id :
        keysToVisit(chipSeProfileStatus_->statusEntryColl(), seProfileStageEntrySmColl())) {
      handleSeProfileStatusEntry(id);
   }
}

void MgksConfigChipSm::handleSeProfileStatusEntry(const Orim::ChipRuleListId& chipRuleListId) {
   NORV_TRACE(8, "MgksConfigChipSm::handleSeProfileStatusEntry chipRuleListId {}",
              chipRuleListId);
   if (!initialized()) return;
   Norv::Ptr<const AaclSeProfileStatusEntry> entry =
       chipSeProfileStatus_->statusEntry(chipRuleListId);
   if (auto old = seProfileStageEntrySm(chipRuleListId);
       old && old->seProfileStatusEntry() != entry) {
      seProfileStageEntrySmDel(chipRuleListId);
   }
   if (!entry) return;
   Norv::memberIs(
       seProfileStageEntrySm_, chipRuleListId,
       [&] {
          return Norv::Ptr<NorvSeProfileStageEntrySm>(
              new NorvSeProfileStageEntrySm(chipRuleListId, entry, this));
       },
       entry);
}

AaclMgksTableId MgksConfigChipSm::mgksTableIdOf(const Orim::StageId& stageId) const {
   // While a batch is open or being delivered, the invalidation of a cached id may still wait
   // behind the change that brought us here: read the descriptor itself then.
   const bool cacheable = !Norv::detail::batchOpen() && !Norv::detail::batchDelivering();
   if (const uint8_t* cached = mgksTableIdOfStage_.find(stageId); cached && cacheable)
      return AaclMgksTableId(*cached);
   Norv::Ptr<const AaclStageDescriptor> aaclStageDescriptor =
       chipAaclStageStatus_->aaclStageDescriptor(stageId);
   NORV_ASSERT(aaclStageDescriptor);
   const AaclMgksTableId id = aaclStageDescriptor->ldeMgTableLookupDesc().mgksTableId();
   if (cacheable) mgksTableIdOfStage_.insert(stageId, id.value());
   return id;
}

void MgksConfigChipSm::handleAaclStageDescriptor(const Orim::StageId& stageId) {
   NORV_TRACE(8, "MgksConfigChipSm::handleAaclStageDescriptor stageId {}", stageId);
   mgksTableIdOfStage_.erase(stageId);
}

void MgksConfigChipSm::handleAaclStageDescriptor() {
   NORV_TRACE(8, "MgksConfigChipSm::handleAaclStageDescriptor chipId {}", chipId_);
   mgksTableIdOfStage_.clear();
}

void MgksConfigChipSm::insertMgksStageTableEntries(
    const Orim::ChipRuleListId& chipRuleListId, const Orim::StageId& stageId,
    const Orim::MaskGroupDescriptor& maskGroupDescriptor,
    const XpXdk::XpSeProfileId& seProfileId) {
   std::vector<Orim::ChipRuleListIdKey> keys;
   for (auto it = chipDataFlowConfig_->chipRuleListKeyToIdColl().begin(); it; ++it) {
      if (it.value() == chipRuleListId) keys.push_back(it.key());
   }
   for (const auto& key : keys) {
      Norv::Ptr<MgksStatusEntry> statusEntry = mgksChipStatus_->statusEntry(key);
      // A key whose own notification is still to come is brought up to date first.
      if (!statusEntry || statusEntry->chipRuleListId() != chipRuleListId) {
         handleChipRuleListKeyToId(key);
         statusEntry = mgksChipStatus_->statusEntry(key);
      }
      Norv::Ptr<MgksStageStatus> stageStatus = statusEntry->mgksStageStatusIs(stageId);
      writeMgksTableEntry(key, chipRuleListId, stageId, maskGroupDescriptor, seProfileId,
                          statusEntry.ptr(), stageStatus.ptr());
   }
}

void MgksConfigChipSm::insertMgksTableEntry(const Orim::ChipRuleListIdKey& key,
                                            const Orim::ChipRuleListId& chipRuleListId,
                                            const Orim::StageId& stageId,
                                            const Orim::MaskGroupDescriptor& maskGroupDesc,
                                            const XpXdk::XpSeProfileId& seProfileId) {
   Norv::Ptr<MgksStatusEntry> statusEntry = mgksChipStatus_->statusEntry(key);
   Norv::Ptr<MgksStageStatus> stageStatus =
       statusEntry ? statusEntry->mgksStageStatus(stageId) : nullptr;
   writeMgksTableEntry(key, chipRuleListId, stageId, maskGroupDesc, seProfileId,
                       statusEntry.ptr(), stageStatus.ptr());
}

void MgksConfigChipSm::writeMgksTableEntry(const Orim::ChipRuleListIdKey& key,
                                           const Orim::ChipRuleListId& chipRuleListId,
                                           const Orim::StageId& stageId,
                                           const Orim::MaskGroupDescriptor& maskGroupDesc,
                                           const XpXdk::XpSeProfileId& seProfileId,
                                           MgksStatusEntry* statusEntry,
                                           MgksStageStatus* stageStatus) {
   const auto fields = mgksEntryFields(key, chipRuleListId, maskGroupDesc, seProfileId.value());
   if (!fields) return;
   writePackedMgksTableEntry(key, stageId, maskGroupDesc, seProfileId, *fields,
                             packMgksEntry(*fields), statusEntry, stageStatus);
}

void MgksConfigChipSm::writePackedMgksTableEntry(
    const Orim::ChipRuleListIdKey& key, const Orim::StageId& stageId,
    const Orim::MaskGroupDescriptor& maskGroupDesc, const XpXdk::XpSeProfileId& seProfileId,
    const MgksEntryFields& fields, const xpMgksEntry& tblEntry, MgksStatusEntry* statusEntry,
    MgksStageStatus* stageStatus) {
   NORV_ASSERT(maskGroupDesc.tcpFlag() == 0);
   const uint32_t mgksTableId = mgksTableIdOf(stageId).value();
   uint32_t index = 0;
   uint32_t reHashIdx = 0;
   // clang-format off
   const XP_STATUS status = mgksMgr()->addEntry( chipId().value(), mgksTableId, &tblEntry, index, reHashIdx );
   // clang-format on
   if (status == XP_ERR_TABLE_FULL) {
      // A full table is a capacity limit of the configuration, not a fault of the driver: the
      // key goes without its entry, and says so.
      NORV_TRACE(3, "insertMgksTableEntry mgksId {} table full for aclId {}", mgksTableId,
                 key.hwAclIndex());
      NORV_ASSERT(!!statusEntry);
      NORV_ASSERT(!!stageStatus);
      stageStatus->maskGroupDescriptorIs(maskGroupDesc);
      stageStatus->resultIs(MgksEntryAllocStatus::mgksEntryAllocFailure);
      return;
   }
   sdkChecked(status, false, __FILE__, __LINE__,
              "((mgksMgr()->addEntry( chipId().value(), mgksTableId, &tblEntry, index, "
              "reHashIdx )))",
              __PRETTY_FUNCTION__);
   NORV_ASSERT(index == reHashIdx);
   NORV_ASSERT(!!statusEntry);
   NORV_ASSERT(!!stageStatus);
   stageStatus->maskGroupDescriptorIs(maskGroupDesc);
   stageStatus->resultIs(MgksEntryAllocStatus::mgksEntryAllocOk);
   stageStatus->mgksEntryIndexIs(index);
   NORV_TRACE(7,
              "insertMgksTableEntry mgksId {} index {} aclId {} aclType {} packetType {} "
              "direction {} search profile {} maskGroupDesc {}",
              mgksTableId, index, fields.aclId, fields.aclType, fields.pktType,
              fields.direction, seProfileId, maskGroupDesc);
}

void MgksConfigChipSm::removeMgksTableEntry(const Orim::StageId& stageId,
                                            const Norv::Ptr<MgksStageStatus>& stageStatus) {
   if (!stageStatus) {
      NORV_TRACE(7, "stageStatus does not exist");
      return;
   }
   if (stageStatus->result() != MgksEntryAllocStatus::mgksEntryAllocOk) {
      NORV_TRACE(7, "stageStatus result not valid");
      return;
   }
   NORV_TRACE(7, "deleting entry");
   const uint32_t mgksTableId = mgksTableIdOf(stageId).value();
   // clang-format off
   XP_SDK_CALL(mgksMgr()->removeEntry( chipId().value(), mgksTableId, stageStatus->mgksEntryIndex() ));
   // clang-format on
   stageStatus->resultIs(MgksEntryAllocStatus::mgksEntryAllocUnknown);
}

void MgksConfigChipSm::removeMgksStageTableEntries(const Orim::ChipRuleListId& chipRuleListId,
                                                   const Orim::StageId& stageId) {
   // The keys whose entries were written for this rule list, whatever the configuration
   // says of them now.
   std::vector<Norv::Ptr<MgksStatusEntry>> entries;
   for (auto it = mgksChipStatus_->statusEntryColl().begin(); it; ++it) {
      if (it.value()->chipRuleListId() == chipRuleListId) entries.push_back(it.value());
   }
   for (const auto& statusEntry : entries) {
      removeMgksTableEntry(stageId, statusEntry->mgksStageStatus(stageId));
      statusEntry->mgksStageStatusDel(stageId);
   }
}

void MgksConfigChipSm::doShowTblEntries(int fd, const Orim::StageId& stageId) const {
   const uint32_t mgksTableId = mgksTableIdOf(stageId).value();
   uint32_t size = 0;
   // clang-format off
   XP_SDK_CALL(mgksMgr()->getNumOfEntry( chipId().value(), size ));
   // clang-format on
   std::string out = kSeparator;
   out += "hw     |key  |key    |key    |key      |seProfile|SIP|DIP|DIP|SPORT|DPORT|PT "
          "|DSCP|TTL|SMAC|DMAC|TCPFlags|\n";
   out += "Index  |aclId|pktType|aclType|direction|ID       |En |En |Len|En   |En   |En |En  "
          "|En |En  |En  |En      |\n";
   out += kSeparator;
   const xpMgksEntry cleared{};
   int valid = 0;
   for (uint32_t i = 0; i < size; ++i) {
      xpMgksEntry e;
      // clang-format off
      XP_SDK_CALL(mgksMgr()->readEntry( chipId().value(), mgksTableId, i, &e ));
      // clang-format on
      if (e == cleared) continue;
      ++valid;
      const MgksEntryFields f = unpackMgksEntry(e);
      char line[160];
      std::snprintf(line, sizeof line,
                    "%7u|%5u|%7u|%7u|%9u|%9u|%3u|%3u|%3u|%5u|%5u|%3u|%4u|%3u|%4u|%4u|%8u|\n", i,
                    f.aclId, f.pktType, f.aclType, f.direction, f.seProfile, f.sipEn, f.dipEn,
                    f.dipLen, f.sportEn, f.dportEn, f.ptEn, f.dscpEn, f.ttlEn, f.smacEn,
                    f.dmacEn, f.tcpFlagsEn);
      out += line;
   }
   out += kSeparator;
   char tail[160];
   std::snprintf(tail, sizeof tail,
                 "Number of valid entries in range of 0 to %d : %d\n"
                 "Maximum possible table entries : %d\n",
                 int(size), valid, int(size));
   out += tail;
   for (size_t done = 0; done < out.size();) {
      const ssize_t n = ::write(fd, out.data() + done, out.size() - done);
      if (n <= 0) break;
      done += size_t(n);
   }
}

// ---- top level

MgksConfigSm::MgksConfigSm(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                           Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                           Norv::Ptr<const AaclSeProfileStatus> seProfileStatus,
                           Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                           Norv::Ptr<MgksStatus> mgksStatus)
    : dataFlowConfig_(std::move(dataFlowConfig)), seProfileConfig_(std::move(seProfileConfig)),
      seProfileStatus_(std::move(seProfileStatus)),
      aaclStageStatus_(std::move(aaclStageStatus)), mgksStatus_(std::move(mgksStatus)) {
   if (dataFlowConfig_) {
      notifieeDataFlowConfig_ = std::make_unique<NorvDataFlowConfig>(this, dataFlowConfig_);
   }
   if (seProfileStatus_) {
      notifieeSeProfileStatus_ = std::make_unique<NorvSeProfileStatus>(this, seProfileStatus_);
   }
   if (aaclStageStatus_) {
      notifieeAaclStageStatus_ = std::make_unique<NorvAaclStageStatus>(this, aaclStageStatus_);
   }
   handleInitialized();
}

// Dropping the reactor takes its entries out of the chips and withdraws its requests.
MgksConfigSm::~MgksConfigSm() {
   std::vector<Orim::ChipId> chips;
   for (auto it = chipSmColl().begin(); it; ++it)
      chips.push_back(it.key());
   for (const auto& chipId : chips)
      chipSmDrop(chipId);
}

void MgksConfigSm::handleInitialized() {
   NORV_TRACE(8, "MgksConfigSm::handleInitialized");
   initializedIs(true);
   handleChipDataFlowConfig();
}

void MgksConfigSm::handleChipDataFlowConfig() {
   NORV_TRACE(8, "MgksConfigSm::handleChipDataFlowConfig");
   if (!dataFlowConfig_) return;
   // A chip with its data-flow configuration is visited: it may be waiting for the others.
   for (const auto& chipId :
        keysToVisit(dataFlowConfig_->chipDataFlowConfigColl(), chipSmColl()))
      handleChipDataFlowConfig(chipId);
}

void MgksConfigSm::chipSmDrop(const Orim::ChipId& chipId) {
   if (!chipSmColl().contains(chipId)) return;
   NORV_TRACE(5, "deleting chipSm chipId {}", chipId);
   chipSmDel(chipId);
   if (mgksStatus_) mgksStatus_->chipMgksStatusDel(chipId);
}

void MgksConfigSm::handleChipDataFlowConfig(const Orim::ChipId& chipId) {
   NORV_TRACE(8, "MgksConfigSm::handleChipDataFlowConfig chipId {}", chipId);
   if (!initialized()) return;
   Norv::Ptr<const Orim::ChipDataFlowConfig> config =
       dataFlowConfig_ ? dataFlowConfig_->chipDataFlowConfig(chipId) : nullptr;
   if (!config) {
      chipSmDrop(chipId);
      return;
   }
   Norv::Ptr<const AaclChipStageStatus> stageStatus =
       aaclStageStatus_ ? aaclStageStatus_->aaclChipStageStatus(chipId) : nullptr;
   if (!stageStatus) {
      NORV_TRACE(5, "no aaclChipStageStatus");
      chipSmDrop(chipId);
      return;
   }
   Norv::Ptr<const AaclChipSeProfileStatus> seStatus =
       seProfileStatus_ ? seProfileStatus_->chipSeProfileStatus(chipId) : nullptr;
   Norv::Ptr<AaclChipSeProfileConfig> seConfig =
       seProfileConfig_ ? seProfileConfig_->chipSeProfileConfig(chipId) : nullptr;
   if (!seStatus || !seConfig) {
      NORV_TRACE(5, "no chipSeProfileStatus");
      chipSmDrop(chipId);
      return;
   }
   if (Norv::Ptr<MgksConfigChipSm> old = chipSm(chipId)) {
      if (old->norvCtorAttrs() == std::make_tuple(config, seConfig, seStatus, stageStatus)) {
         NORV_TRACE(8, "chipSm already created");
         return;
      }
      // One of the chip's inputs is another entity now: the chip starts afresh on it.
      chipSmDrop(chipId);
   }
   NORV_TRACE(5, "creating chipSm chipId {}", chipId);
   Norv::Ptr<MgksChipStatus> chipStatus = mgksStatus_->chipMgksStatusIs(chipId);
   Norv::memberIs(
       chipSm_, chipId,
       [&] {
          return Norv::Ptr<MgksConfigChipSm>(new MgksConfigChipSm(
              chipId, config, seConfig, seStatus, stageStatus, chipStatus));
       },
       config, seConfig, seStatus, stageStatus);
}

Norv::Ptr<MgksConfigSm>
mgksConfigSmFactory(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                    Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                    Norv::Ptr<const AaclSeProfileStatus> seProfileStatus,
                    Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                    Norv::Ptr<MgksStatus> mgksStatus) {
   return new MgksConfigSm(std::move(dataFlowConfig), std::move(seProfileConfig),
                           std::move(seProfileStatus), std::move(aaclStageStatus),
                           std::move(mgksStatus));
}

} // namespace XpAcl
