#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <unistd.h>

#include "tests/xpacl/MgksTestWorld.h"
#include "xdk/xpLogMgr.h"

using namespace XpAclTest;

namespace {

using Alloc = MgksEntryAllocStatus;
const Orim::ChipRuleListIdKey keyA(10, 6, 1, Acl::AclDirection::in);
const Orim::ChipRuleListIdKey keyB(11, 17, 3, Acl::AclDirection::out);

class MgksConfigSmTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpLogMgr::instance()->setSink(nullptr);
      world.startSeProfileMgr();
      world.startMgks();
      world.stagesUp();
   }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }

   // The fields of the entry a key's stage status points at, after checking that the status
   // says the entry is there and that the table holds it at that index.
   MgksEntryFields entryOf(const Orim::ChipRuleListIdKey& k, uint32_t stage) {
      auto st = world.stageStatus(k, stage);
      EXPECT_TRUE(st) << "no status for stage " << stage;
      if (!st) return {};
      EXPECT_EQ(st->result(), Alloc::mgksEntryAllocOk);
      const xpMgksEntry* e = world.mgks->validEntry(1, stage + 1, st->mgksEntryIndex());
      EXPECT_TRUE(e) << "no entry at the status's index";
      return e ? unpackMgksEntry(*e) : MgksEntryFields{};
   }
   size_t entriesIn(uint32_t table) { return world.tables()[table].size(); }

   MgksTestWorld world;
};

TEST_F(MgksConfigSmTest, RuleListMaskGroupBecomesOneEntryPerKey) {
   world.key(keyA, 7);
   world.key(keyB, 7);
   world.mg(7, 2, mgd(8, 4));
   // The request was written for the SE-profile manager, which found profile 1.
   auto request =
       world.w.seConfig->chipSeProfileConfig(world.chip)->configEntry(Orim::ChipRuleListId(7));
   ASSERT_TRUE(request);
   ASSERT_TRUE(request->maskGroupDescriptorColl().find(Orim::StageId(2)));
   EXPECT_EQ(*request->maskGroupDescriptorColl().find(Orim::StageId(2)), mgd(8, 4));
   const MgksEntryFields a = entryOf(keyA, 2);
   EXPECT_EQ(a.aclId, 10);
   EXPECT_EQ(a.pktType, 1);
   EXPECT_EQ(a.aclType, 0);
   EXPECT_EQ(a.direction, 0);
   EXPECT_EQ(a.seProfile, 1);
   EXPECT_EQ(a.dipLen, 4);
   EXPECT_TRUE(a.sipEn && a.dipEn);
   EXPECT_EQ(a.resultAclId, 7);
   const MgksEntryFields b = entryOf(keyB, 2);
   EXPECT_EQ(b.aclId, 11);
   EXPECT_EQ(b.pktType, 4);
   EXPECT_EQ(b.direction, 1);
   EXPECT_EQ(b.resultAclId, 7);
   EXPECT_EQ(entriesIn(3), 2u);
   EXPECT_EQ(world.stageStatus(keyA, 2)->maskGroupDescriptor(), mgd(8, 4));
   // No other stage has anything.
   EXPECT_EQ(world.tables().size(), 1u);
}

TEST_F(MgksConfigSmTest, ZeroLengthsGiveProfileZeroAndUnavailableRemoves) {
   world.key(keyA, 3);
   world.mg(3, 0, mgd(0, 0));
   EXPECT_EQ(entryOf(keyA, 0).seProfile, 0);
   EXPECT_FALSE(entryOf(keyA, 0).sipEn);
   world.mg(3, 0, mgd(16, 0));
   EXPECT_EQ(entryOf(keyA, 0).seProfile, 5);
   EXPECT_EQ(entriesIn(1), 1u);
   // No profile carries SIP 30: the entry goes, and so does its status.
   world.mg(3, 0, mgd(30, 0));
   EXPECT_EQ(entriesIn(1), 0u);
   EXPECT_FALSE(world.stageStatus(keyA, 0));
   const uint64_t removes = world.mgks->calls("removeEntry");
   EXPECT_GE(removes, 1u);
   // Unavailable from the start writes nothing.
   world.mg(4, 1, mgd(30, 0));
   world.key(keyB, 4);
   EXPECT_EQ(world.tables().size(), 0u);
}

TEST_F(MgksConfigSmTest, KeysFollowTheirRuleList) {
   for (uint32_t s = 0; s < kMgksStages; ++s)
      world.mg(5, s, mgd(8, 4));
   world.key(keyA, 5);
   for (uint32_t s = 0; s < kMgksStages; ++s)
      EXPECT_EQ(entryOf(keyA, s).aclId, 10);
   // A key added later gets its entry on every stage already set up.
   const uint64_t adds = world.mgks->calls("addEntry");
   world.key(keyB, 5);
   EXPECT_EQ(world.mgks->calls("addEntry") - adds, kMgksStages);
   for (uint32_t s = 0; s < kMgksStages; ++s)
      EXPECT_EQ(entryOf(keyB, s).aclId, 11);
   // Moved to another rule list with no mask groups: its entries go, its status stays empty.
   world.key(keyB, 6);
   for (uint32_t s = 0; s < kMgksStages; ++s) {
      EXPECT_FALSE(world.stageStatus(keyB, s));
      EXPECT_EQ(entriesIn(s + 1), 1u);
   }
   EXPECT_EQ(world.status->chipMgksStatus(world.chip)->statusEntry(keyB)->chipRuleListId(),
             Orim::ChipRuleListId(6));
   // Removed: entries and status go.
   world.keyDel(keyA);
   EXPECT_FALSE(world.status->chipMgksStatus(world.chip)->statusEntry(keyA));
   EXPECT_EQ(world.tables().size(), 0u);
}

TEST_F(MgksConfigSmTest, EveryRemovalPathEmptiesTheTables) {
   auto setUp = [&] {
      world.key(keyA, 2);
      world.mg(2, 0, mgd(8, 4));
      world.mg(2, 4, mgd(0, 0));
      ASSERT_EQ(world.tables().size(), 2u);
   };
   // The mask group of one stage vanishes: only that stage's entry goes, request withdrawn.
   setUp();
   world.mgDel(2, 4);
   EXPECT_EQ(entriesIn(5), 0u);
   EXPECT_EQ(entriesIn(1), 1u);
   EXPECT_FALSE(world.w.seConfig->chipSeProfileConfig(world.chip)
                    ->configEntry(Orim::ChipRuleListId(2))
                    ->maskGroupDescriptorColl()
                    .contains(Orim::StageId(4)));
   // The rule list vanishes.
   world.chipConfig()->chipRuleListCfgDel(Orim::ChipRuleListId(2));
   EXPECT_EQ(world.tables().size(), 0u);
   EXPECT_FALSE(
       world.w.seConfig->chipSeProfileConfig(world.chip)->configEntry(Orim::ChipRuleListId(2)));
   // The SE-profile allocation is withdrawn (the stages go, as when the device goes).
   setUp();
   world.stagesDown();
   EXPECT_EQ(world.tables().size(), 0u);
   EXPECT_FALSE(world.status->chipMgksStatus(world.chip));
   world.stagesUp();
   EXPECT_EQ(world.tables().size(), 2u);
   // The chip's data-flow configuration goes.
   world.dataFlow->chipDataFlowConfigDel(world.chip);
   EXPECT_EQ(world.tables().size(), 0u);
   EXPECT_FALSE(world.status->chipMgksStatus(world.chip));
   EXPECT_EQ(world.w.seConfig->chipSeProfileConfig(world.chip)->configEntryCount(), 0u);
   // Clean-up of the whole reactor.
   setUp();
   world.sm = nullptr;
   EXPECT_EQ(world.tables().size(), 0u);
}

TEST_F(MgksConfigSmTest, PackingIsBitExactPerTableType) {
   Orim::MaskGroupDescriptor all = mgd(8, 4);
   all.srcPortIs(true);
   all.dstPortIs(true);
   all.ipProtoIs(true);
   all.dscpIs(true);
   all.ipFragIs(true);
   all.ttlIs(true);
   all.srcMacMaskIs(Orim::EthAddr(1));
   all.dstMacMaskIs(Orim::EthAddr(0x800000000000));
   all.establishedIs(true);
   const Orim::ChipRuleListIdKey k4(43, 0, 4, Acl::AclDirection::out);
   auto bytes = [](const std::optional<MgksEntryFields>& f) {
      const xpMgksEntry e = packMgksEntry(*f);
      std::string s;
      for (uint8_t b : e.bytes) {
         char h[4];
         std::snprintf(h, sizeof h, "%02x", b);
         s += h;
      }
      return s;
   };
   EXPECT_EQ(bytes(mgksEntryFields(k4, Orim::ChipRuleListId(0x95), all, 5)),
             "acd00000a5ff57d2");
   const Orim::ChipRuleListIdKey k1(0xff, 0, 1, Acl::AclDirection::in);
   EXPECT_EQ(bytes(mgksEntryFields(k1, Orim::ChipRuleListId(1), mgd(0, 0), 0)),
             "fc07000000000404");
   const Orim::ChipRuleListIdKey k2(1, 0, 2, Acl::AclDirection::in);
   EXPECT_EQ(bytes(mgksEntryFields(k2, Orim::ChipRuleListId(2), mgd(0, 0), 9)),
             "0444000001000844");
   const Orim::ChipRuleListIdKey k3(2, 0, 3, Acl::AclDirection::out);
   EXPECT_EQ(bytes(mgksEntryFields(k3, Orim::ChipRuleListId(3), mgd(0, 15), 7)),
             "089000007f010c90");
   // Unpacking gives back what was packed.
   const auto f = *mgksEntryFields(k4, Orim::ChipRuleListId(0x95), all, 5);
   EXPECT_EQ(unpackMgksEntry(packMgksEntry(f)), f);
   for (uint8_t t : {0, 5, 255})
      EXPECT_FALSE(mgksEntryFields(Orim::ChipRuleListIdKey(1, 0, t, Acl::AclDirection::in),
                                   Orim::ChipRuleListId(1), mgd(0, 0), 0));
}

TEST_F(MgksConfigSmTest, TableTypesOutsideOneToFourWriteNothing) {
   const Orim::ChipRuleListIdKey bad(12, 0, 5, Acl::AclDirection::in);
   world.key(bad, 8);
   world.key(keyA, 8);
   world.mg(8, 1, mgd(8, 4));
   EXPECT_EQ(entriesIn(2), 1u);
   auto st = world.stageStatus(bad, 1);
   ASSERT_TRUE(st);
   EXPECT_EQ(st->result(), Alloc::mgksEntryAllocUnknown);
   world.mgDel(8, 1);
   EXPECT_FALSE(world.stageStatus(bad, 1));
   EXPECT_EQ(world.tables().size(), 0u);
}

TEST_F(MgksConfigSmTest, FullTableMarksTheStatusFailed) {
   MgksTestWorld small(4);
   small.startSeProfileMgr();
   small.startMgks();
   small.stagesUp();
   for (uint32_t k = 0; k < 5; ++k)
      small.key(Orim::ChipRuleListIdKey(k, 0, 1, Acl::AclDirection::in), 1);
   small.mg(1, 0, mgd(8, 4));
   int ok = 0, failed = 0;
   for (uint32_t k = 0; k < 5; ++k) {
      auto st = small.stageStatus(Orim::ChipRuleListIdKey(k, 0, 1, Acl::AclDirection::in), 0);
      ASSERT_TRUE(st);
      ok += st->result() == Alloc::mgksEntryAllocOk;
      failed += st->result() == Alloc::mgksEntryAllocFailure;
   }
   EXPECT_EQ(ok, 4);
   EXPECT_EQ(failed, 1);
   // Withdrawing removes only what was written.
   small.mgDel(1, 0);
   EXPECT_EQ(small.tables().size(), 0u);
}

TEST_F(MgksConfigSmTest, DumpShowsEachValidEntry) {
   world.key(keyA, 7);
   world.mg(7, 3, mgd(8, 4));
   const uint32_t index = world.stageStatus(keyA, 3)->mgksEntryIndex();
   int fds[2];
   ASSERT_EQ(pipe(fds), 0);
   world.sm->chipSm(world.chip)->doShowTblEntries(fds[1], Orim::StageId(3));
   close(fds[1]);
   std::string out;
   char buf[4096];
   for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;)
      out.append(buf, size_t(n));
   close(fds[0]);
   const std::string sep =
       "-------|-----|-------|-------|---------|---------|---|---|---|-----|"
       "-----|---|----|---|----|----|--------+\n";
   char row[160];
   std::snprintf(row, sizeof row,
                 "%7u|   10|      1|      0|        0|        1|  1|  1|  4|    0|    0|  0|   "
                 "0|  0|   0|   0|       0|\n",
                 index);
   EXPECT_EQ(out,
             sep +
                 "hw     |key  |key    |key    |key      |seProfile|SIP|DIP|DIP|SPORT|DPORT|"
                 "PT |DSCP|TTL|SMAC|DMAC|TCPFlags|\n"
                 "Index  |aclId|pktType|aclType|direction|ID       |En |En |Len|En   |En   |"
                 "En |En  |En |En  |En  |En      |\n" +
                 sep + row + sep +
                 "Number of valid entries in range of 0 to 1024 : 1\n"
                 "Maximum possible table entries : 1024\n");
}

using MgksConfigSmDeathTest = MgksConfigSmTest;

TEST_F(MgksConfigSmDeathTest, NonZeroTcpFlagMaskAborts) {
   world.key(keyA, 7);
   Orim::MaskGroupDescriptor d = mgd(8, 4);
   d.tcpFlagIs(0x12);
   EXPECT_DEATH(world.mg(7, 0, d), "Assertion `maskGroupDesc.tcpFlag\\(\\) == 0' failed");
}

TEST_F(MgksConfigSmDeathTest, MovedEntryAborts) {
   // A table of two entries per way: fill it beside the driver, mirrored in a model of the same
   // table, until the driver's key can only be placed by moving another entry.
   MgksTestWorld small(8);
   small.startSeProfileMgr();
   small.startMgks();
   small.stagesUp();
   const Orim::ChipRuleListIdKey k(200, 0, 1, Acl::AclDirection::in);
   const xpMgksEntry driverEntry =
       packMgksEntry(*mgksEntryFields(k, Orim::ChipRuleListId(1), mgd(8, 4), 1));
   using Match = std::array<uint8_t, 4>;
   xpHashedTable<Match, xpMgksEntry> mirror(8, 4);
   auto matchOf = [](const xpMgksEntry& e) { return Match{e.bytes[0], e.bytes[1], 0, 0}; };
   std::set<uint32_t> driverPlaces;
   for (uint32_t w = 0; w < 4; ++w)
      driverPlaces.insert(mirror.place(matchOf(driverEntry), w));
   // Only entries that land on the driver key's places, until all of them are taken.
   bool moves = false;
   for (uint32_t id = 0; id < 250 && !moves; ++id) {
      xpMgksEntry other;
      other.bytes[0] = uint8_t(id << 2);
      other.bytes[1] = uint8_t(id >> 6 | 4 << 2);
      xpHashedTable<Match, xpMgksEntry> probe = mirror;
      uint32_t i = 0, r = 0;
      if (probe.insert(matchOf(other), other, i, r) != XP_NO_ERR || i != r ||
          !driverPlaces.count(i)) {
         continue;
      }
      mirror = probe;
      ASSERT_EQ(small.mgks->addEntry(1, 1, &other, i, r), XP_NO_ERR);
      probe = mirror;
      moves = probe.insert(matchOf(driverEntry), driverEntry, i, r) == XP_NO_ERR && i != r;
   }
   ASSERT_TRUE(moves);
   small.key(k, 1);
   EXPECT_DEATH(small.mg(1, 0, mgd(8, 4)), "Assertion `index == reHashIdx' failed");
}

TEST_F(MgksConfigSmDeathTest, RefusedAddIsAnApiError) {
   world.key(keyA, 7);
   world.mgks->injectStatus("addEntry", XP_ERR_OUT_OF_MEM);
   EXPECT_DEATH(world.mg(7, 0, mgd(8, 4)),
                "\\(\\(mgksMgr\\(\\)->addEntry\\( chipId\\(\\)\\.value\\(\\), mgksTableId, "
                "&tblEntry, index, reHashIdx \\)\\)\\) API ERROR 8\n.*Assertion `!\\(true\\)' "
                "failed");
}

TEST_F(MgksConfigSmDeathTest, RequestsNeedTheChipSeProfileConfiguration) {
   world.key(keyA, 7);
   world.mg(7, 0, mgd(8, 4));
   auto chipSm = world.sm->chipSm(world.chip);
   auto ruleListSm = chipSm->chipRuleListCfgSm(Orim::ChipRuleListId(7));
   ASSERT_TRUE(ruleListSm);
   ruleListSm->initializedIs(false);
   EXPECT_DEATH(ruleListSm->handleStageMg(Orim::StageId(0)),
                "Assertion `initialized\\(\\)' failed");
   ruleListSm->initializedIs(true);
   EXPECT_DEATH(chipSm->mgksTableIdOf(Orim::StageId(9)),
                "Assertion `aaclStageDescriptor' failed");
}

} // namespace
