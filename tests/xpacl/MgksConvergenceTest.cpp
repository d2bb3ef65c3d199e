// Whatever order the inputs arrive in, with whatever churn on the way, the key-select tables
// and their status end as a cold start of the final configuration leaves them.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "norv/NotificationBatch.h"
#include "tests/xpacl/MgksTestWorld.h"
#include "xdk/xpLogMgr.h"

using namespace XpAclTest;

namespace {

constexpr uint32_t kRuleLists = 4;

// Keys with distinct matches (the match has no protocol type), one of an unknown table type.
const std::vector<Orim::ChipRuleListIdKey> kKeys = {
    {1, 6, 1, Acl::AclDirection::in},   {2, 6, 2, Acl::AclDirection::in},
    {3, 17, 3, Acl::AclDirection::out}, {4, 17, 4, Acl::AclDirection::out},
    {5, 0, 1, Acl::AclDirection::out},  {6, 0, 9, Acl::AclDirection::in},
    {7, 1, 2, Acl::AclDirection::out},  {255, 6, 4, Acl::AclDirection::in}};

std::vector<Orim::MaskGroupDescriptor> palette() {
   Orim::MaskGroupDescriptor flags = mgd(8, 4);
   flags.ttlIs(true);
   flags.srcPortIs(true);
   flags.dstMacMaskIs(Orim::EthAddr(0xff));
   return {mgd(8, 4), mgd(16, 0), mgd(0, 0), mgd(30, 0), flags};
}

// What the upper layer publishes for the chip, as a plain value.
struct Config {
   std::map<uint32_t, std::map<uint32_t, Orim::MaskGroupDescriptor>> ruleLists;
   std::map<Orim::ChipRuleListIdKey, uint32_t> keys;
   bool stages = false;
   bool dataFlow = false;
};

Config readConfig(MgksTestWorld& w) {
   Config c;
   c.stages = bool(w.w.stageStatus->aaclChipStageStatus(w.chip));
   auto chip = w.dataFlow->chipDataFlowConfig(w.chip);
   c.dataFlow = bool(chip);
   if (!chip) return c;
   for (auto it = chip->chipRuleListCfgColl().begin(); it; ++it) {
      auto& stages = c.ruleLists[it.key().value()];
      for (auto s = it.value()->stageMgColl().begin(); s; ++s)
         stages[s.key().value()] = s.value();
   }
   for (auto it = chip->chipRuleListKeyToIdColl().begin(); it; ++it)
      c.keys[it.key()] = it.value().value();
   return c;
}

std::string hex(const xpMgksEntry& e) {
   std::string s;
   for (uint8_t b : e.bytes) {
      s += "0123456789abcdef"[b >> 4];
      s += "0123456789abcdef"[b & 15];
   }
   return s;
}

// The tables as sets of entries per table, and the status with each entry it points at: equal
// by content, whatever index the history gave each entry.
std::string snapshot(MgksTestWorld& w) {
   std::string out;
   size_t okCount = 0;
   if (auto chip = w.status->chipMgksStatus(w.chip)) {
      std::map<std::string, std::string> lines;
      for (auto it = chip->statusEntryColl().begin(); it; ++it) {
         std::string line = it.key().text() + " -> " + it.value()->chipRuleListId().text();
         std::map<uint32_t, std::string> stages;
         for (auto s = it.value()->mgksStageStatusColl().begin(); s; ++s) {
            const MgksStageStatus& st = *s.value();
            std::string v =
                std::string(norvEnumName(st.result())) + " " + st.maskGroupDescriptor().text();
            if (st.result() == MgksEntryAllocStatus::mgksEntryAllocOk) {
               ++okCount;
               const xpMgksEntry* e =
                   w.mgks->validEntry(1, s.key().value() + 1, st.mgksEntryIndex());
               v += " entry " + (e ? hex(*e) : std::string("MISSING"));
               // The entry pointed at is this key's own.
               if (e) {
                  const MgksEntryFields f = unpackMgksEntry(*e);
                  EXPECT_EQ(f.aclId, uint8_t(it.key().hwAclIndex())) << line;
               }
            }
            stages[s.key().value()] = v;
         }
         for (const auto& [s, v] : stages)
            line += "\n  stage " + std::to_string(s) + ": " + v;
         lines[it.key().text()] = line;
      }
      for (const auto& [k, l] : lines)
         out += l + "\n";
   }
   size_t entries = 0;
   for (const auto& [t, tbl] : w.tables()) {
      std::multiset<std::string> set;
      for (const auto& [i, e] : tbl)
         set.insert(hex(e));
      entries += set.size();
      out += "table " + std::to_string(t) + ":";
      for (const auto& e : set)
         out += " " + e;
      out += "\n";
   }
   // Every entry in the chip is one a status accounts for: nothing leaks.
   EXPECT_EQ(entries, okCount);
   return out;
}

// The status never holds a key the configuration lost, nor a stage without an SE-profile
// allocation that asks for entries.
void checkNoStaleStatus(MgksTestWorld& w) {
   auto chipStatus = w.status->chipMgksStatus(w.chip);
   if (!chipStatus) return;
   auto chip = w.dataFlow->chipDataFlowConfig(w.chip);
   ASSERT_TRUE(chip) << "status for a chip without configuration";
   auto seChip = w.w.seStatus->chipSeProfileStatus(w.chip);
   ASSERT_TRUE(seChip);
   for (auto it = chipStatus->statusEntryColl().begin(); it; ++it) {
      const Orim::ChipRuleListId* rl = chip->chipRuleListKeyToIdColl().find(it.key());
      ASSERT_TRUE(rl) << it.key().text();
      ASSERT_EQ(*rl, it.value()->chipRuleListId());
      auto seEntry = seChip->statusEntry(*rl);
      for (auto s = it.value()->mgksStageStatusColl().begin(); s; ++s) {
         auto seStage = seEntry ? seEntry->stageStatus(s.key()) : nullptr;
         ASSERT_TRUE(seStage) << it.key().text() << " stage " << s.key().text();
         const auto r = seStage->result();
         EXPECT_TRUE(r == AaclSeProfileStatusResult::seProfileFoundRequired ||
                     r == AaclSeProfileStatusResult::seProfileNotApplicable);
      }
   }
}

void publish(MgksTestWorld& w, const Config& c) {
   if (c.stages) w.stagesUp();
   if (!c.dataFlow) return;
   auto chip = w.chipConfig();
   for (const auto& [rl, stages] : c.ruleLists) {
      auto cfg = chip->chipRuleListCfgIs(Orim::ChipRuleListId(rl));
      for (const auto& [s, d] : stages)
         cfg->stageMgIs(Orim::StageId(s), d);
   }
   for (const auto& [k, rl] : c.keys)
      chip->chipRuleListKeyToIdIs(k, Orim::ChipRuleListId(rl));
}

class MgksConvergenceTest : public ::testing::TestWithParam<int> {
protected:
   void SetUp() override { xpLogMgr::instance()->setSink(nullptr); }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }
};

TEST_P(MgksConvergenceTest, AnyOrderEndsAsAColdStart) {
   std::mt19937 rng(GetParam());
   auto pick = [&](uint32_t n) { return uint32_t(rng() % n); };
   const auto descriptors = palette();
   std::string history, cold;
   Config final;
   {
      MgksTestWorld w;
      // Either reactor may start first.
      if (pick(2)) {
         w.startSeProfileMgr();
         w.startMgks();
      } else {
         w.startMgks();
         w.startSeProfileMgr();
      }
      std::optional<Norv::NotificationBatch> batch;
      auto closeBatch = [&] {
         if (!batch) return;
         batch->close();
         batch.reset();
      };
      for (int step = 0; step < 600; ++step) {
         const uint32_t op = pick(100);
         const uint32_t rl = 1 + pick(kRuleLists);
         if (op < 3) {
            // Delivered at once: the SE-profile manager cannot take a chip's stages replaced
            // by another entity within one batch.
            closeBatch();
            w.w.stageStatus->aaclChipStageStatus(w.chip) ? w.stagesDown() : w.stagesUp();
         } else if (op < 5) {
            if (w.dataFlow->chipDataFlowConfig(w.chip)) {
               w.dataFlow->chipDataFlowConfigDel(w.chip);
            } else {
               w.chipConfig();
            }
         } else if (op < 6) {
            // The reactor is dropped (cleaning up) and started again.
            closeBatch();
            w.sm = nullptr;
            w.startMgks();
         } else if (op < 8) {
            w.chipConfig()->chipRuleListCfgDel(Orim::ChipRuleListId(rl));
         } else if (op < 40) {
            w.mg(rl, pick(kMgksStages), descriptors[pick(uint32_t(descriptors.size()))]);
         } else if (op < 55) {
            w.mgDel(rl, pick(kMgksStages));
         } else if (op < 80) {
            w.key(kKeys[pick(uint32_t(kKeys.size()))], rl);
         } else if (op < 90) {
            w.keyDel(kKeys[pick(uint32_t(kKeys.size()))]);
         } else if (op < 95) {
            // Open or close a batch: what is published meanwhile arrives later, merged.
            if (batch) {
               closeBatch();
            } else {
               batch.emplace();
            }
         }
         if (!batch && step % 10 == 0) {
            checkNoStaleStatus(w);
            if (HasFatalFailure()) return;
         }
      }
      closeBatch();
      // End with everything present and some of it configured again, so that the comparison
      // covers the chip's entries.
      w.stagesUp();
      for (int i = 0; i < 12; ++i) {
         w.mg(1 + pick(kRuleLists), pick(kMgksStages), descriptors[pick(2)]);
         w.key(kKeys[pick(uint32_t(kKeys.size()))], 1 + pick(kRuleLists));
      }
      checkNoStaleStatus(w);
      final = readConfig(w);
      history = snapshot(w);
      w.sm = nullptr;
      EXPECT_EQ(w.tables().size(), 0u) << "clean-up left entries behind";
   }
   {
      MgksTestWorld w;
      publish(w, final);
      w.startSeProfileMgr();
      w.startMgks();
      cold = snapshot(w);
   }
   EXPECT_EQ(history, cold);
   EXPECT_NE(cold.find("mgksEntryAllocOk"), std::string::npos)
       << "a run with no entry proves little";
}

INSTANTIATE_TEST_SUITE_P(Seeds, MgksConvergenceTest, ::testing::Range(1, 13));

} // namespace
