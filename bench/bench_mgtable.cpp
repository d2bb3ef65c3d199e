#include <benchmark/benchmark.h>

#include <vector>

#include "bench/FastestRounds.h"
#include "platform/OrimDataFlow.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"
#include "xpacl/maskgroup/XpAclMgTableSm.h"
#include "xpacl/model/XpAaclDefaultProfileStageInfo.h"
#include "xpacl/stage/XpAclOrimStageMgrSm.h"

// The mask-group hot path, each case next to its baseline in the same run:
// - addEntry of counted rules against the chip model's bare writeKeyAndControlData of the same
//   entries (target: ratio at most 3);
// - one doUpdateAclCounters over 4,095 counted rules against 4,095 bare getCounterValue calls
//   (target: at most 2);
// - a cold start of 6 stages x 8,192 published rules through MgTableSm against bare writes of
//   the same entries (target: at most 5).

namespace {

constexpr uint32_t kCounters = 4095;
constexpr uint32_t kStages = 6;
constexpr uint32_t kRulesPerStage = 8192;
const XpXdk::XpDeviceId kDev(1);

xpAaclMgTableMgr* mgModel() {
   return xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
}
xpAcmBankMgr* acmModel() {
   return xpAcmPl::instance()->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0));
}

// One device up with its stages published, as the agent has it.
struct World {
   World() {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      xpDeviceMgr::instance()->addDevice(kDev.value());
      info->chipProfileStageInfoIs(XpAcl::aaclDefaultProfileStageInfoFactory(kDev, system));
      hwCap->chipHwCapabilityIs(XpXdk::chipIdOf(kDev))->priorityFieldMaxCountIs(0x1fff);
      devices->deviceIdIs(kDev, true);
   }
   Norv::Ptr<XpXdk::XpDeviceIdColl> devices = XpXdk::xpDeviceIdCollFactory();
   Norv::Ptr<XpSystem::SystemStatus> system = XpSystem::systemStatusFactory("sys");
   Norv::Ptr<XpAcl::AaclProfileStageInfo> info = XpAcl::aaclProfileStageInfoFactory(system);
   Norv::Ptr<Orim::HwCapabilityColl> hwCap = new Orim::HwCapabilityColl("hw");
   Norv::Ptr<XpAcl::AaclStageStatus> stages = XpAcl::aaclStageStatusFactory("stages");
   Norv::Ptr<XpAcl::AaclStageMgrSm> stageMgr =
       XpAcl::aaclStageMgrSmFactory(devices, system, info, hwCap, stages);
   Norv::Ptr<XpAcl::MgTableHelper> helper = XpAcl::mgTableHelperFactory(stages, hwCap);
};

Orim::PerStageTableEntry rule(uint32_t ruleId, bool counting) {
   Orim::PerStageTableEntry e;
   e.aclIdIs(Orim::AclId(Orim::ChipRuleListId(5), Acl::AclDirection::in));
   e.ruleIdIs(ruleId);
   Orim::PDKeyValue k;
   k.srcIpLabelIs(ruleId);
   k.dstIpLabelIs(ruleId >> 16);
   k.srcPortLabelIs(7);
   e.pdKeyIs(k);
   Orim::MaskGroupDescriptor mgd;
   mgd.aclTypeIs(1);
   e.maskGroupDescriptorIs(mgd);
   e.countingIs(counting);
   e.priorityIs(static_cast<uint16_t>(ruleId % 8000));
   return e;
}

// The entry the helper writes for the rule, built once, for the bare writes.
xpAaclMgTableEntry hwEntryOf(const Orim::PerStageTableEntry& e, uint32_t counter) {
   xpAaclMgTableEntry hw;
   XpAcl::fillMgTableEntryKey(e.aclId().chipRuleListId(), e.aclId().direction(), e.pdKey(),
                              e.maskGroupDescriptor(), hw.key);
   hw.data.word[0] = static_cast<uint16_t>(counter << 3);
   hw.data.word[1] = static_cast<uint16_t>(0x1fff - e.priority());
   return hw;
}

[[gnu::noinline]] void bareWrites(xpAaclMgTableMgr* mgr, uint32_t table,
                                  const std::vector<xpAaclMgTableEntry>& entries,
                                  uint32_t firstIndex) {
   for (uint32_t i = 0; i < entries.size(); ++i)
      mgr->writeKeyAndControlData(kDev.value(), table, firstIndex + i, &entries[i]);
   benchmark::ClobberMemory();
}

// 4,095 counted rules written through addEntry, each taking a counter, against the bare writes
// of their entries; reported per rule.
void BM_AddEntryWithCounter(benchmark::State& state) {
   World w;
   std::vector<Orim::PerStageTableEntry> rules;
   std::vector<xpAaclMgTableEntry> hw;
   for (uint32_t i = 0; i < kCounters; ++i) {
      rules.push_back(rule(i, true));
      hw.push_back(hwEntryOf(rules.back(), kCounters - i));
   }
   xpAaclMgTableMgr* mgr = mgModel();
   const Orim::StageId stage(2);
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.time(FastestRounds::kBaseline, [&] { bareWrites(mgr, 2, hw, 0); });
      rounds.time(FastestRounds::kCase, [&] {
         for (uint32_t i = 0; i < kCounters; ++i)
            w.helper->addEntry(kDev, stage, Orim::PerStageHashTableKey(0, i), &rules[i]);
         benchmark::ClobberMemory();
      });
      state.PauseTiming();
      for (uint32_t i = 0; i < kCounters; ++i)
         w.helper->removeEntry(kDev, stage, Orim::PerStageHashTableKey(0, i));
      state.ResumeTiming();
   }
   rounds.report(state, "addEntry", "bareWrite", kCounters);
}
BENCHMARK(BM_AddEntryWithCounter)->Unit(benchmark::kMicrosecond)->MinTime(1.0);

// One poll of 4,095 counted rules, each of which counted a packet, against 4,095 bare reads of
// the same counters; reported per counter.
void BM_UpdateAclCounters(benchmark::State& state) {
   World w;
   for (uint32_t i = 0; i < kCounters; ++i) {
      const Orim::PerStageTableEntry r = rule(i, true);
      w.helper->addEntry(kDev, Orim::StageId(2), Orim::PerStageHashTableKey(0, i), &r);
   }
   xpAcmBankMgr* acm = acmModel();
   auto countOnEach = [&] {
      for (uint32_t c = 1; c <= kCounters; ++c)
         acm->countPackets(kDev.value(), c, 1, 64);
   };
   FastestRounds rounds;
   for (auto _ : state) {
      state.PauseTiming();
      countOnEach();
      state.ResumeTiming();
      rounds.time(FastestRounds::kBaseline, [&] {
         xpAcmBankMgr* mgr = acmModel();
         for (uint32_t c = 1; c <= kCounters; ++c) {
            uint64_t pkts = 0;
            uint64_t bytes = 0;
            mgr->getCounterValue(kDev.value(), XP_ACM_AACL_COUNTER, c, &pkts, &bytes);
            benchmark::DoNotOptimize(pkts);
         }
      });
      state.PauseTiming();
      countOnEach();
      state.ResumeTiming();
      rounds.time(FastestRounds::kCase, [&] { w.helper->doUpdateAclCounters(); });
   }
   rounds.report(state, "update", "bareRead", kCounters);
}
BENCHMARK(BM_UpdateAclCounters)->Unit(benchmark::kMicrosecond)->MinTime(1.0);

// 6 stages of 8,192 rules published, then the reactor created and armed, against the bare
// writes of the same 49,152 entries; reported per rule. The reactor is dropped between rounds,
// which clears the tables again.
void BM_ColdStart(benchmark::State& state) {
   World w;
   auto dataFlow = Orim::dataFlowConfigFactory("dataFlow");
   auto chip = dataFlow->chipDataFlowConfigIs(XpXdk::chipIdOf(kDev));
   std::vector<std::vector<xpAaclMgTableEntry>> hw(kStages);
   for (uint32_t s = 0; s < kStages; ++s) {
      auto table = chip->stageHashTableIs(Orim::StageId(s));
      for (uint32_t i = 0; i < kRulesPerStage; ++i) {
         const Orim::PerStageTableEntry r = rule(i, false);
         table->tableIs(Orim::PerStageHashTableKey(0, i), r);
         hw[s].push_back(hwEntryOf(r, 0));
      }
   }
   xpAaclMgTableMgr* mgr = mgModel();
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.time(FastestRounds::kBaseline, [&] {
         for (uint32_t s = 0; s < kStages; ++s)
            bareWrites(mgr, s, hw[s], 0);
      });
      Norv::Ptr<XpAcl::MgTableSm> sm;
      rounds.time(FastestRounds::kCase, [&] {
         sm = XpAcl::mgTableSmFactory(w.devices, dataFlow, w.helper);
         sm->initializedIs(true);
      });
      state.PauseTiming();
      sm = nullptr;
      state.ResumeTiming();
   }
   rounds.report(state, "coldStart", "bareWrite", kStages * kRulesPerStage);
}
BENCHMARK(BM_ColdStart)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace
