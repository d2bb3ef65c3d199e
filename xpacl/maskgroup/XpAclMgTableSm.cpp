#include "xpacl/maskgroup/XpAclMgTableSm.h"

#include <vector>

#include "norv/Assert.h"
#include "norv/Errors.h"
#include "norv/Trace.h"
#include "xpacl/xform/XpAclXformCommon.h"

NORV_TRACE_HANDLE("XpAclMgTableSm");

namespace XpAcl {

namespace {

// The nested reactor of `config` under `key`: the one there if it was built for that entity,
// else a new one. A member replaced under the same key is another entity, so its reactor goes
// (taking its entries out of the chip) and a new one starts afresh.
template <class Coll, class Config, class Make>
Norv::Ptr<typename Coll::Member> nestedFor(Coll& coll, const typename Coll::Key& key,
                                           const Config& config, Make&& make) {
   if (auto old = coll.find(key); old && std::get<0>(old->norvCtorAttrs()) != config) {
      coll.del(key);
   }
   return Norv::memberIs(coll, key, std::forward<Make>(make), config);
}

} // namespace

MgTableSm::MgTableSm(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                     Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                     Norv::Ptr<MgTableHelper> mgTableHelper)
    : activeXpDeviceColl_(std::move(activeXpDeviceColl)),
      dataFlowConfig_(std::move(dataFlowConfig)), mgTableHelper_(std::move(mgTableHelper)),
      poll_(this, [this] { handlePoll(); }) {
   if (activeXpDeviceColl_) {
      norvActiveXpDeviceColl_ =
          std::make_unique<NorvActiveXpDeviceColl>(this, activeXpDeviceColl_);
   }
   if (dataFlowConfig_) {
      norvDataFlowConfig_ = std::make_unique<NorvDataFlowConfig>(this, dataFlowConfig_);
   }
   // The chip reactors mirror the configuration from the start; they wait for arming.
   handleChipDataFlowConfig();
}

// Dropping the reactor takes its entries out of the chips.
MgTableSm::~MgTableSm() {
   chipDataFlowConfigDelAll();
}

Norv::Ptr<MgTableSm::ChipDataFlowSm>
MgTableSm::chipDataFlowConfigIs(const Orim::ChipId& chipId,
                                const Norv::Ptr<const Orim::ChipDataFlowConfig>& config) {
   if (!config) {
      Norv::throwNullParameter("_chipDataFlowConfig", "XpAcl::MgTableSm::chipDataFlowConfig");
   }
   return nestedFor(chipDataFlowConfig_, chipId, config, [&] {
      return Norv::Ptr<ChipDataFlowSm>(new ChipDataFlowSm(chipId, config, this));
   });
}

void MgTableSm::handleInitialized() {
   NORV_TRACE(8, "MgTableSm::");
   NORV_ASSERT(initialized());
   handleXpDevice();
   poll_.timeMinIs(Norv::activityManager().now() + counterPollInterval_);
}

void MgTableSm::handleXpDevice() {
   if (!activeXpDeviceColl_) return;
   std::vector<XpXdk::XpDeviceId> present;
   for (auto it = activeXpDeviceColl_->deviceIdColl().begin(); it; ++it) {
      if (it.value()) present.push_back(it.key());
   }
   for (const auto& deviceId : present)
      handleXpDevice(deviceId);
}

void MgTableSm::handleXpDevice(const XpXdk::XpDeviceId& deviceId) {
   if (!initialized()) return;
   Norv::Ptr<ChipDataFlowSm> chipDataFlowSm = chipDataFlowConfig(XpXdk::chipIdOf(deviceId));
   if (!chipDataFlowSm) return;
   if (deviceActive(deviceId)) {
      NORV_TRACE(8, "handleXpDevice(): insert devId {}", deviceId);
      NORV_ASSERT(!chipDataFlowSm->initialized());
      chipDataFlowSm->handleInitialized();
      return;
   }
   NORV_TRACE(8, "handleXpDevice(): remove devId {}", deviceId);
   // The device is gone, and its tables with it: the indices are forgotten, not removed.
   for (auto it = chipDataFlowSm->stageHashTableConfigColl().begin(); it; ++it) {
      it.value()->entryIndexDelAll();
      it.value()->initializedIs(false);
   }
   chipDataFlowSm->initializedIs(false);
   // Its counters are gone too: polling them would ask a device that is not there.
   mgTableHelper_->forgetCounters(deviceId);
}

void MgTableSm::handleChipDataFlowConfig(const Orim::ChipId& chipId) {
   NORV_TRACE(8, "MgTableSm:: chipId {}", chipId);
   auto config = dataFlowConfig_ ? dataFlowConfig_->chipDataFlowConfig(chipId) : nullptr;
   if (config) {
      chipDataFlowConfigIs(chipId, config);
   } else {
      chipDataFlowConfigDel(chipId);
   }
}

void MgTableSm::handleChipDataFlowConfig() {
   forEachChip(chipDataFlowConfigColl(),
               dataFlowConfig_ ? &dataFlowConfig_->chipDataFlowConfigColl() : nullptr,
               [this](const Orim::ChipId& chipId) { handleChipDataFlowConfig(chipId); });
}

void MgTableSm::handlePoll() {
   if (!initialized()) return;
   NORV_TRACE(9, "void XpAcl::MgTableSm::handlePoll()");
   mgTableHelper_->doUpdateAclCounters();
   poll_.timeMinIs(Norv::activityManager().now() + counterPollInterval_);
}

MgTableSm::ChipDataFlowSm::ChipDataFlowSm(
    const Orim::ChipId& chipId, Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
    MgTableSm* mgTableSm)
    : chipId_(chipId), chipDataFlowConfig_(std::move(chipDataFlowConfig)),
      mgTableSm_(mgTableSm), notifiee_(this, chipDataFlowConfig_) {
   handleStageHashTableConfig();
   handleInitialized();
}

Norv::Ptr<MgTableSm::StageHashTableSm> MgTableSm::ChipDataFlowSm::stageHashTableConfigIs(
    const Orim::StageId& stageId, const Norv::Ptr<const Orim::PerStageHashTable>& config) {
   if (!config) {
      Norv::throwNullParameter("_stageHashTableConfig",
                               "XpAcl::MgTableSm::ChipDataFlowSm::stageHashTableConfig");
   }
   return nestedFor(stageHashTableConfig_, stageId, config, [&] {
      return Norv::Ptr<StageHashTableSm>(new StageHashTableSm(stageId, config, this));
   });
}

void MgTableSm::ChipDataFlowSm::handleInitialized() {
   if (!mgTableSm_->initialized() || !mgTableSm_->deviceActive(deviceId())) return;
   name_ = "MgTableSm[" + std::to_string(chipId_.value()) + "]";
   NORV_TRACE(8, "ChipDataFlowSm:: chipId {}", chipId_);
   initializedIs(true);
   for (auto it = stageHashTableConfigColl().begin(); it; ++it)
      it.value()->handleInitialized();
}

void MgTableSm::ChipDataFlowSm::handleStageHashTableConfig(const Orim::StageId& stageId) {
   NORV_TRACE(8, "ChipDataFlowSm:: chipId {} stageId {}", chipId_, stageId);
   auto config = chipDataFlowConfig_->stageHashTable(stageId);
   if (config) {
      stageHashTableConfigIs(stageId, config);
   } else {
      stageHashTableConfigDel(stageId);
   }
}

void MgTableSm::ChipDataFlowSm::handleStageHashTableConfig() {
   std::vector<Orim::StageId> stages;
   for (auto it = stageHashTableConfigColl().begin(); it; ++it)
      stages.push_back(it.key());
   for (auto it = chipDataFlowConfig_->stageHashTableColl().begin(); it; ++it) {
      if (!stageHashTableConfigColl().contains(it.key())) stages.push_back(it.key());
   }
   for (const auto& stageId : stages)
      handleStageHashTableConfig(stageId);
}

MgTableSm::StageHashTableSm::StageHashTableSm(
    const Orim::StageId& stageId, Norv::Ptr<const Orim::PerStageHashTable> stageHashTableConfig,
    ChipDataFlowSm* chipDataFlowSm)
    : stageId_(stageId), stageHashTableConfig_(std::move(stageHashTableConfig)),
      chipDataFlowSm_(chipDataFlowSm), notifiee_(this, stageHashTableConfig_) {
   handleInitialized();
}

void MgTableSm::StageHashTableSm::handleInitialized() {
   if (!chipDataFlowSm_->initialized() || initialized()) return;
   if (!chipDataFlowSm_->mgTableSm()->deviceActive(chipDataFlowSm_->deviceId())) return;
   name_ = chipDataFlowSm_->name() + "[" + std::to_string(stageId_.value()) + "]";
   NORV_TRACE(8, "StageHashTableSm:: stageId {}", stageId_);
   initializedIs(true);
   handleStageHashTable();
}

void MgTableSm::StageHashTableSm::handleStageHashTable() {
   NORV_TRACE(8, "handleStageHashTable");
   if (!initialized()) return;
   // Keys written before but no longer published (a rebound table) go first.
   std::vector<Orim::PerStageHashTableKey> gone;
   for (auto it = entryIndex_.begin(); it; ++it) {
      if (!stageHashTableConfig_->tableColl().contains(it.key())) gone.push_back(it.key());
   }
   for (const auto& key : gone)
      handleStageHashTable(key);
   entryIndex_.reserve(stageHashTableConfig_->tableCount());
   // The walk hands each member over as it stands on it, rather than having it looked up.
   for (auto it = stageHashTableConfig_->tableColl().begin(); it; ++it)
      writeMember(it.key(), &it.value());
}

void MgTableSm::StageHashTableSm::handleStageHashTable(const Orim::PerStageHashTableKey& key) {
   if (!initialized()) return;
   if (const Orim::PerStageTableEntry* entry = stageHashTableConfig_->tableColl().find(key)) {
      writeMember(key, entry);
      return;
   }
   NORV_TRACE(7, "{} hashTable del {}", name_, key);
   chipDataFlowSm_->mgTableSm()->mgTableHelper()->removeEntry(chipDataFlowSm_->deviceId(),
                                                              stageId_, key);
   entryIndexDel(key);
}

void MgTableSm::StageHashTableSm::writeMember(const Orim::PerStageHashTableKey& key,
                                              const Orim::PerStageTableEntry* entry) {
   NORV_TRACE(7, "{} hashTable add {}", name_, key);
   // A changed member is written over in place: key and data change in one write.
   const uint32_t index = chipDataFlowSm_->mgTableSm()->mgTableHelper()->addEntry(
       chipDataFlowSm_->deviceId(), stageId_, key, entry);
   entryIndexIs(key, index);
}

void MgTableSm::StageHashTableSm::doCleanup() {
   if (!initialized()) return;
   NORV_TRACE(8, "doCleanup");
   MgTableHelper& helper = *chipDataFlowSm_->mgTableSm()->mgTableHelper();
   for (auto it = entryIndex_.begin(); it; ++it)
      helper.removeEntry(chipDataFlowSm_->deviceId(), stageId_, it.key());
   entryIndexDelAll();
}

Norv::Ptr<MgTableSm> mgTableSmFactory(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                                      Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                                      Norv::Ptr<MgTableHelper> mgTableHelper) {
   return new MgTableSm(std::move(activeXpDeviceColl), std::move(dataFlowConfig),
                        std::move(mgTableHelper));
}

} // namespace XpAcl
