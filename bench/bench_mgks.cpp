#include <benchmark/benchmark.h>

#include <vector>

#include "bench/FastestRounds.h"
#include "tests/xpacl/MgksTestWorld.h"
#include "xdk/xpLogMgr.h"

// Adding a key to a rule list that has mask groups on all six stages, against the six bare
// addEntry calls of the chip model that write the same entries (target: ratio at most 3).

namespace {

using namespace XpAclTest;

constexpr uint32_t kKeys = 64;

Orim::ChipRuleListIdKey keyOf(uint32_t i) {
   return Orim::ChipRuleListIdKey(i, 6, 1 + i % 4, Acl::AclDirection::in);
}

void BM_MgksAddKey(benchmark::State& state) {
   xpLogMgr::instance()->setSink(nullptr);
   MgksTestWorld world;
   world.startSeProfileMgr();
   world.startMgks();
   world.stagesUp();
   for (uint32_t s = 0; s < kMgksStages; ++s)
      world.mg(9, s, mgd(8, 4));
   // The entries the driver writes, for the bare calls.
   std::vector<xpMgksEntry> entries;
   for (uint32_t i = 0; i < kKeys; ++i) {
      entries.push_back(XpAcl::packMgksEntry(
          *XpAcl::mgksEntryFields(keyOf(i), Orim::ChipRuleListId(9), mgd(8, 4), 1)));
   }
   std::vector<uint32_t> placed(kKeys * kMgksStages);
   const Norv::Ptr<Orim::ChipDataFlowConfig> chip = world.chipConfig();
   const Orim::ChipRuleListId ruleList(9);
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.time(FastestRounds::kCase, [&] {
         for (uint32_t i = 0; i < kKeys; ++i)
            chip->chipRuleListKeyToIdIs(keyOf(i), ruleList);
      });
      state.PauseTiming();
      for (uint32_t i = 0; i < kKeys; ++i)
         chip->chipRuleListKeyToIdDel(keyOf(i));
      state.ResumeTiming();
      rounds.time(FastestRounds::kBaseline, [&] {
         for (uint32_t i = 0; i < kKeys; ++i) {
            for (uint32_t s = 0; s < kMgksStages; ++s) {
               uint32_t rehash = 0;
               world.mgks->addEntry(1, s + 1, &entries[i], placed[i * kMgksStages + s], rehash);
            }
         }
      });
      state.PauseTiming();
      for (uint32_t i = 0; i < kKeys; ++i) {
         for (uint32_t s = 0; s < kMgksStages; ++s)
            world.mgks->removeEntry(1, s + 1, placed[i * kMgksStages + s]);
      }
      state.ResumeTiming();
   }
   rounds.report(state, "addKey", "sixBareAddEntry", kKeys);
   xpLogMgr::instance()->setSink(stderr);
}
BENCHMARK(BM_MgksAddKey)->Iterations(300);

} // namespace
