#include <gtest/gtest.h>

#include <map>
#include <random>

#include "norv/Clock.h"
#include "norv/NotificationBatch.h"
#include "tests/xpacl/MgTestWorld.h"
#include "xpacl/maskgroup/XpAclMgTableSm.h"
#include "xpacl/maskgroup/XpAclOrimPDInfo.h"

using namespace XpAclTest;

namespace {

using Key = Orim::PerStageHashTableKey;

// Every valid entry of the chip model's MG tables of the devices, counter index left out:
// which counter a rule gets depends on the order rules came and went.
using ChipImage = std::map<std::tuple<uint8_t, uint32_t, uint32_t>, xpAaclMgTableEntry>;
ChipImage chipImage(std::initializer_list<uint8_t> devs) {
   ChipImage image;
   for (uint8_t dev : devs) {
      for (uint32_t table = 0; table < xpAaclMgTableMgr::kNumMgTables; ++table) {
         for (uint32_t i = 0; i < 4 * 8192; ++i) {
            if (const xpAaclMgTableEntry* e = mgModel()->validEntry(dev, table, i)) {
               xpAaclMgTableEntry masked = *e;
               masked.data.word[0] &= 0x7;
               image[{dev, table, i}] = masked;
            }
         }
      }
   }
   return image;
}

uint64_t hwCalls() {
   return mgModel()->calls("writeKeyAndControlData") + mgModel()->calls("readEntry") +
          mgModel()->calls("removeEntry") + acmModel()->calls("getCounterValue");
}

struct MgSmWorld : MgTestWorld {
   Norv::Ptr<Orim::PerStageHashTable> table(uint32_t chip, uint32_t stage) {
      return dataFlow->chipDataFlowConfigIs(Orim::ChipId(chip))
          ->stageHashTableIs(Orim::StageId(stage));
   }
   void start() {
      sm = XpAcl::mgTableSmFactory(devices, dataFlow, helper);
      sm->initializedIs(true);
   }
   Norv::Ptr<XpAcl::MgTableSm::StageHashTableSm> stageSm(uint32_t chip, uint32_t stage) {
      auto c = sm->chipDataFlowConfig(Orim::ChipId(chip));
      return c ? c->stageHashTableConfig(Orim::StageId(stage)) : nullptr;
   }
   Norv::Ptr<Orim::DataFlowConfig> dataFlow = Orim::dataFlowConfigFactory("dataFlow");
   Norv::Ptr<XpAcl::MgTableSm> sm;
};

class MgTableSmTest : public ::testing::Test {
protected:
   void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
   bool written(uint32_t index, uint32_t table = 2, uint8_t dev = 1) {
      return mgModel()->validEntry(dev, table, index) != nullptr;
   }
   MgSmWorld w;
};

TEST_F(MgTableSmTest, ConfigurationFirstThenDevice) {
   w.start();
   w.table(1, 2)->tableIs(Key(1, 5), rule(3, 1, false));
   EXPECT_FALSE(w.stageSm(1, 2)->initialized());
   w.chipUp(1);
   EXPECT_TRUE(written(8197));
   EXPECT_EQ(w.stageSm(1, 2)->entryIndex(Key(1, 5)), 8197u);
   EXPECT_EQ(w.stageSm(1, 2)->name(), "MgTableSm[1][2]");
}

TEST_F(MgTableSmTest, DeviceFirstThenConfigurationIsProgrammedAtOnce) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 4);
   EXPECT_TRUE(w.stageSm(1, 4)->initialized());
   t->tableIs(Key(0, 7), rule(3, 1, false));
   EXPECT_TRUE(written(7, 4));
}

// In one batch a rule is published and then its stage moves to another MG table: the rule is
// delivered first, and must be written where the stage is now, not where it was.
TEST_F(MgTableSmTest, ARuleDeliveredBeforeItsStageMoveInOneBatchFollowsTheMove) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 2);
   t->tableIs(Key(0, 1), rule(3, 1, false));
   ASSERT_TRUE(written(1));
   auto chipStatus = w.stageStatus->aaclChipStageStatus(Orim::ChipId(1));
   const XpAcl::AaclLdeMgTableLookupDesc old =
       chipStatus->aaclStageDescriptor(Orim::StageId(2))->ldeMgTableLookupDesc();
   {
      Norv::NotificationBatch batch;
      t->tableIs(Key(0, 2), rule(3, 2, false));
      chipStatus->aaclStageDescriptorDel(Orim::StageId(2));
      chipStatus->aaclStageDescriptorIs(
          Orim::StageId(2),
          XpAcl::AaclLdeMgTableLookupDesc(old.ldeId(), XpAcl::AaclMgTableId(7),
                                          old.mgksTableId(), old.ldeSeProfileSet()));
      batch.close();
   }
   EXPECT_TRUE(written(2, 7));
   EXPECT_FALSE(written(2, 2));
}

TEST_F(MgTableSmTest, ArmingProgramsWhatIsAlreadyThere) {
   w.chipUp(1);
   w.table(1, 2)->tableIs(Key(0, 1), rule(3, 1, false));
   w.table(1, 3)->tableIs(Key(2, 1), rule(3, 2, false));
   w.sm = XpAcl::mgTableSmFactory(w.devices, w.dataFlow, w.helper);
   EXPECT_FALSE(written(1));
   w.sm->initializedIs(true);
   EXPECT_TRUE(written(1));
   EXPECT_TRUE(written(2 * 8192 + 1, 3));
   EXPECT_DEATH(w.sm->initializedIs(false), "Assertion `initialized\\(\\)' failed");
   EXPECT_DEATH(w.sm->handleXpDevice(XpXdk::XpDeviceId(1)),
                "Assertion `!chipDataFlowSm->initialized\\(\\)' failed");
}

TEST_F(MgTableSmTest, AChangedEntryIsOneWriteInPlace) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 2);
   t->tableIs(Key(1, 5), rule(3, 1, true));
   mgModel()->resetCounters();
   acmModel()->resetCounters();
   t->tableIs(Key(1, 5), rule(3, 1, true, 99, 20));
   EXPECT_EQ(mgModel()->calls("writeKeyAndControlData"), 1u);
   EXPECT_EQ(hwCalls(), 1u);
   EXPECT_EQ(w.stageSm(1, 2)->entryIndex(Key(1, 5)), 8197u);
   EXPECT_EQ(w.stageSm(1, 2)->entryIndexCount(), 1u);
   EXPECT_EQ(mgModel()->validEntry(1, 2, 8197)->data.word[1], kPriorityMax - 20);
   EXPECT_EQ(mgModel()->validEntry(1, 2, 8197)->data.word[0] >> 3, 4095); // counter kept
}

TEST_F(MgTableSmTest, RepublishingAnUnchangedTableWritesNothing) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 2);
   for (uint32_t i = 0; i < 20; ++i)
      t->tableIs(Key(i % 4, i), rule(3, i, i % 3 == 0));
   mgModel()->resetCounters();
   acmModel()->resetCounters();
   for (uint32_t i = 0; i < 20; ++i)
      t->tableIs(Key(i % 4, i), rule(3, i, i % 3 == 0));
   EXPECT_EQ(hwCalls(), 0u);
}

TEST_F(MgTableSmTest, RemovedMembersLeaveTheHardware) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 2);
   t->tableIs(Key(0, 1), rule(3, 1, true));
   t->tableIs(Key(0, 2), rule(3, 2, false));
   t->tableDel(Key(0, 1));
   EXPECT_FALSE(written(1));
   EXPECT_TRUE(written(2));
   EXPECT_FALSE(w.helper->isCounterAttached(Orim::ChipId(1), aclIdOf(3), 1));
   EXPECT_FALSE(w.stageSm(1, 2)->entryIndexColl().contains(Key(0, 1)));
}

TEST_F(MgTableSmTest, AKeyDeletedWhileTheDeviceIsAwayCostsNoHardwareCall) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 2);
   t->tableIs(Key(0, 1), rule(3, 1, false));
   t->tableIs(Key(0, 2), rule(3, 2, false));
   w.deviceUp(1, false);
   EXPECT_EQ(w.stageSm(1, 2)->entryIndexCount(), 0u);
   EXPECT_FALSE(w.stageSm(1, 2)->initialized());
   mgModel()->resetCounters();
   acmModel()->resetCounters();
   t->tableDel(Key(0, 1));
   t->tableIs(Key(0, 3), rule(3, 3, false));
   EXPECT_EQ(hwCalls(), 0u);
   // Back: only the members now present are written.
   w.deviceUp(1);
   EXPECT_EQ(mgModel()->calls("writeKeyAndControlData"), 2u);
   EXPECT_EQ(mgModel()->calls("removeEntry"), 0u);
   EXPECT_TRUE(written(3));
   EXPECT_EQ(w.stageSm(1, 2)->entryIndexCount(), 2u);
}

TEST_F(MgTableSmTest, ADeviceThatLeavesTakesItsCountersWithIt) {
   w.chipUp(1);
   w.chipUp(2);
   w.start();
   w.table(1, 2)->tableIs(Key(0, 1), rule(3, 1, true));
   w.table(1, 2)->tableIs(Key(0, 2), rule(3, 2, true));
   w.table(2, 2)->tableIs(Key(0, 1), rule(3, 1, true));
   w.devices->deviceIdDel(XpXdk::XpDeviceId(1));
   xpDeviceMgr::instance()->removeDevice(1);
   EXPECT_FALSE(w.helper->isCounterAttached(Orim::ChipId(1), aclIdOf(3), 1));
   EXPECT_TRUE(w.helper->isCounterAttached(Orim::ChipId(2), aclIdOf(3), 1));
   EXPECT_EQ(w.helper->freeCounterIndexCount(), 4094u);
   // The poll asks only the device that is there.
   acmModel()->resetCounters();
   Norv::activityManager().advanceBy(1.0);
   EXPECT_EQ(acmModel()->calls("getCounterValue"), 1u);
   // Back, its rules are counted again.
   w.chipUp(1);
   EXPECT_TRUE(w.helper->isCounterAttached(Orim::ChipId(1), aclIdOf(3), 2));
   EXPECT_EQ(w.helper->counterIndexCount(), 3u);
}

TEST_F(MgTableSmTest, AStageOrChipConfigurationThatGoesTakesItsEntries) {
   w.chipUp(1);
   w.start();
   w.table(1, 2)->tableIs(Key(0, 1), rule(3, 1, false));
   w.table(1, 3)->tableIs(Key(0, 1), rule(3, 1, false));
   w.table(1, 4)->tableIs(Key(0, 1), rule(3, 1, false));
   w.dataFlow->chipDataFlowConfig(Orim::ChipId(1))->stageHashTableDel(Orim::StageId(2));
   EXPECT_FALSE(written(1, 2));
   EXPECT_TRUE(written(1, 3));
   w.dataFlow->chipDataFlowConfigDel(Orim::ChipId(1));
   EXPECT_FALSE(written(1, 3));
   EXPECT_FALSE(written(1, 4));
   EXPECT_EQ(w.helper->activeEntryCntAtStageCount(), 0u);
   // Dropping the reactor does the same.
   w.table(1, 5)->tableIs(Key(0, 1), rule(3, 1, false));
   EXPECT_TRUE(written(1, 5));
   w.sm = nullptr;
   EXPECT_FALSE(written(1, 5));
}

TEST_F(MgTableSmTest, ATableReplacedByAnotherEntityStartsAfresh) {
   w.chipUp(1);
   w.start();
   w.table(1, 2)->tableIs(Key(0, 1), rule(3, 1, false));
   auto chip = w.dataFlow->chipDataFlowConfig(Orim::ChipId(1));
   auto fresh = chip->newStageHashTable(Orim::StageId(2));
   EXPECT_FALSE(written(1));
   fresh->tableIs(Key(0, 2), rule(3, 2, false));
   EXPECT_TRUE(written(2));
   EXPECT_EQ(w.stageSm(1, 2)->stageHashTableConfig(), fresh);
}

TEST_F(MgTableSmTest, NullConfigurationsAreRefusedWithTheirTexts) {
   w.chipUp(1);
   w.start();
   w.table(1, 2);
   try {
      w.sm->chipDataFlowConfigIs(Orim::ChipId(1), nullptr);
      FAIL();
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null _chipDataFlowConfig parameter to mutator for "
                             "XpAcl::MgTableSm::chipDataFlowConfig not allowed\"");
   }
   try {
      w.sm->chipDataFlowConfig(Orim::ChipId(1))
          ->stageHashTableConfigIs(Orim::StageId(2), nullptr);
      FAIL();
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null _stageHashTableConfig parameter to mutator for "
                             "XpAcl::MgTableSm::ChipDataFlowSm::stageHashTableConfig not "
                             "allowed\"");
   }
}

TEST_F(MgTableSmTest, CountersArePolledOncePerInterval) {
   w.chipUp(1);
   w.start();
   auto t = w.table(1, 2);
   for (uint32_t i = 0; i < 6; ++i)
      t->tableIs(Key(0, i), rule(3, i, i < 3));
   auto pd = XpAcl::xp80PDHashingFunctionFactory(XpXdk::XpDeviceId(1), w.helper);
   acmModel()->countPackets(1, 4095, 4, 400);
   acmModel()->resetCounters();
   auto& clock = Norv::activityManager();
   clock.advanceBy(0.5);
   EXPECT_EQ(acmModel()->calls("getCounterValue"), 0u);
   EXPECT_EQ(pd->getDeltaCounter(Orim::ChipId(1), aclIdOf(3), 0), 0u);
   clock.advanceBy(0.5);
   EXPECT_EQ(acmModel()->calls("getCounterValue"), 3u);
   EXPECT_EQ(pd->getDeltaCounter(Orim::ChipId(1), aclIdOf(3), 0), 4u);
   EXPECT_EQ(pd->getDeltaCounter(Orim::ChipId(1), aclIdOf(3), 0), 0u);
   clock.advanceBy(2.0);
   EXPECT_EQ(acmModel()->calls("getCounterValue"), 9u);
   EXPECT_TRUE(pd->isCounterAttached(Orim::ChipId(1), aclIdOf(3), 2));
   EXPECT_FALSE(pd->isCounterAttached(Orim::ChipId(1), aclIdOf(3), 3));
}

TEST_F(MgTableSmTest, GetHashSaysWhereTheChipLooksInEveryWay) {
   w.chipUp(1);
   w.start();
   auto pdInfo = XpAcl::xp80PDInfoFactory();
   auto pd = pdInfo->pdHashingFunctionIs(XpXdk::XpDeviceId(1), w.helper);
   auto stage =
       w.hwCap->chipHwCapability(Orim::ChipId(1))->stageHashTableDescriptor(Orim::StageId(2));
   auto t = w.table(1, 2);
   for (uint32_t ruleId = 0; ruleId < 50; ++ruleId) {
      const uint8_t way = static_cast<uint8_t>(ruleId % 4);
      Orim::PerStageTableEntry r = rule(7, ruleId, false, ruleId * 31);
      const uint32_t h = pd->getHash(r.pdKey(), stage, r.maskGroupDescriptor(), way, r.aclId());
      ASSERT_LT(h, 8192u);
      t->tableIs(Key(way, h), r);
      // The chip hashes the key it holds there to that very place.
      const xpAaclMgTableEntry* e = mgModel()->validEntry(1, 2, way * 8192 + h);
      ASSERT_TRUE(e);
      uint32_t chipHash = 0;
      ASSERT_EQ(mgModel()->hashIndexInWay(1, 2, way, &e->key, chipHash), XP_NO_ERR);
      EXPECT_EQ(chipHash, h);
   }
}

TEST(Xp80PDInfo, OneFunctionPerDeviceOnOneHelper) {
   MgTestWorld w;
   auto info = XpAcl::xp80PDInfoFactory();
   auto f = info->pdHashingFunctionIs(XpXdk::XpDeviceId(2), w.helper);
   EXPECT_EQ(info->pdHashingFunctionIs(XpXdk::XpDeviceId(2), w.helper), f);
   EXPECT_EQ(f->getHwKeyLen(Orim::MaskGroupDescriptor(), nullptr), 128u);
   f->hwKeyLenIs(160);
   EXPECT_EQ(f->getHwKeyLen(Orim::MaskGroupDescriptor(), nullptr), 160u);
   auto other = XpAcl::mgTableHelperFactory(w.stageStatus, w.hwCap);
   try {
      info->pdHashingFunctionIs(XpXdk::XpDeviceId(2), other);
      FAIL();
   } catch (const Norv::NameInUseError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("Reinstantiating the pointer interface where "
                                            "constructor parameter attribute _mgTableHelper "
                                            "has a different value of ",
                                            0),
                0u)
          << e.what();
   }
   EXPECT_EQ(info->pdHashingFunction(XpXdk::XpDeviceId(2)), f);
   info->pdHashingFunctionDel(XpXdk::XpDeviceId(2));
   EXPECT_FALSE(info->pdHashingFunction(XpXdk::XpDeviceId(2)));
}

// A random history of the published tables (adds, changes, removals, batches, a device that
// leaves the chip model and comes back) ends with the chip holding what a fresh chip model
// and a fresh reactor make of the final tables.
TEST(MgTableSmRandom, HistoryEndsWhereAColdStartBegins) {
   for (unsigned seed = 1; seed <= 6; ++seed) {
      std::mt19937 rng(seed);
      auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
      ChipImage history;
      Norv::Ptr<Orim::DataFlowConfig> finalState;
      {
         MgSmWorld w;
         w.chipUp(1);
         w.chipUp(2);
         w.start();
         std::unique_ptr<Norv::NotificationBatch> batch;
         // A batch delivers what it deferred only when it is closed.
         auto closeBatch = [&batch] {
            if (batch) batch->close();
            batch.reset();
         };
         for (int step = 0; step < 600; ++step) {
            const uint32_t chip = 1 + pick(2);
            const uint32_t stage = pick(3);
            const uint32_t op = pick(100);
            if (op < 3) {
               // The device leaves the chip model and comes back.
               closeBatch();
               w.devices->deviceIdDel(XpXdk::XpDeviceId(static_cast<uint8_t>(chip)));
               xpDeviceMgr::instance()->removeDevice(static_cast<uint8_t>(chip));
               w.chipUp(static_cast<uint8_t>(chip));
            } else if (op < 6) {
               if (batch)
                  closeBatch();
               else
                  batch = std::make_unique<Norv::NotificationBatch>();
            } else if (op < 8) {
               if (auto c = w.dataFlow->chipDataFlowConfig(Orim::ChipId(chip)))
                  c->stageHashTableDel(Orim::StageId(stage));
            } else {
               auto t = w.table(chip, stage);
               const Key key(pick(4), pick(40));
               if (op < 40) {
                  t->tableDel(key);
               } else {
                  t->tableIs(key, rule(1 + pick(3), pick(30), pick(2) == 0, pick(5),
                                       static_cast<uint16_t>(pick(kPriorityMax + 1))));
               }
            }
         }
         closeBatch();
         history = chipImage({1, 2});
         finalState = w.dataFlow;
      }
      MgSmWorld cold;
      cold.chipUp(1);
      cold.chipUp(2);
      cold.dataFlow = finalState;
      cold.start();
      EXPECT_EQ(chipImage({1, 2}), history) << "seed " << seed;
      EXPECT_GT(history.size(), 20u);
   }
}

} // namespace
