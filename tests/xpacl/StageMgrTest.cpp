#include <gtest/gtest.h>

#include "tests/xpacl/StageTestWorld.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"

using namespace XpAclTest;

namespace {

xpAaclMgTableMgr* mgTable() {
   return xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
}

std::vector<uint8_t> sorted(const Norv::HashMap<uint8_t, bool>& set) {
   std::vector<uint8_t> v;
   for (auto it = set.begin(); it; ++it)
      v.push_back(it.key());
   std::sort(v.begin(), v.end());
   return v;
}

class StageMgrTest : public ::testing::Test {
protected:
   void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
   StageTestWorld w;
   const Orim::ChipId chip0{0};
};

TEST_F(StageMgrTest, ActiveDevicePublishesItsStagesAndDeclaresTheHardware) {
   w.startStageMgr();
   w.addDevice(0);
   EXPECT_FALSE(w.stageStatus->aaclChipStageStatus(chip0)); // added, not yet up
   w.deviceUp(0);
   auto chip = w.stageStatus->aaclChipStageStatus(chip0);
   ASSERT_TRUE(chip);
   auto cap = w.hwCap->chipHwCapability(chip0);
   ASSERT_EQ(chip->aaclStageDescriptorCount(), 6u);
   uint32_t expected = 0;
   for (auto it = chip->aaclStageDescriptorColl().begin(); it; ++it, ++expected) {
      EXPECT_EQ(it.key().value(), expected);
      const auto& desc = it.value()->ldeMgTableLookupDesc();
      EXPECT_EQ(desc.ldeId().value(), expected + 6);
      EXPECT_EQ(desc.mgTableId().value(), expected);
      EXPECT_EQ(desc.mgksTableId().value(), expected + 1);
      ASSERT_TRUE(desc.ldeSeProfileSet());
      EXPECT_EQ(desc.ldeSeProfileSet()->aaclSuperkeyFieldsCount(), 8u);
      auto hash = it.value()->orimStageDescriptor();
      ASSERT_TRUE(hash);
      EXPECT_EQ(hash.ptr(), cap->stageHashTableDescriptor(it.key()).ptr());
      EXPECT_EQ(hash->stageId(), it.key());
      EXPECT_EQ(std::vector<int>({hash->keyLength(), hash->numWays(), hash->indexBits(),
                                  hash->bucketDepth()}),
                std::vector<int>({128, 1, 13, 1}));
   }
   const std::vector<uint8_t> lengths{0, 1, 3, 5, 7, 9, 11, 13, 16};
   EXPECT_EQ(sorted(cap->srcIpV4MaskLengthColl()), lengths);
   EXPECT_EQ(sorted(cap->srcIpV6MaskLengthColl()), lengths);
   EXPECT_EQ(sorted(cap->dstIpV4MaskLengthColl()), lengths);
   EXPECT_EQ(sorted(cap->dstIpV6MaskLengthColl()), lengths);
   EXPECT_EQ(mgTable()->calls("getNumOfEntry"), 6u);
}

TEST_F(StageMgrTest, DeviceThatLeavesAndReturnsGetsFreshStatus) {
   w.addDevice(0);
   w.addDevice(1);
   w.deviceUp(0);
   w.startStageMgr(); // devices already up are set up at start
   auto first = w.stageStatus->aaclChipStageStatus(chip0);
   auto firstSm = w.stageMgr->chipStageMgrSm(XpXdk::XpDeviceId(0));
   ASSERT_TRUE(first && firstSm);
   w.deviceUp(1);
   w.deviceUp(0, false);
   EXPECT_FALSE(w.stageStatus->aaclChipStageStatus(chip0));
   EXPECT_FALSE(w.stageMgr->chipStageMgrSm(XpXdk::XpDeviceId(0)));
   EXPECT_TRUE(firstSm->norvZombie());
   EXPECT_TRUE(w.stageStatus->aaclChipStageStatus(Orim::ChipId(1)));
   mgTable()->resetCounters();
   w.deviceUp(0);
   auto again = w.stageStatus->aaclChipStageStatus(chip0);
   ASSERT_TRUE(again);
   EXPECT_NE(again.ptr(), first.ptr());
   EXPECT_NE(w.stageMgr->chipStageMgrSm(XpXdk::XpDeviceId(0)).ptr(), firstSm.ptr());
   EXPECT_EQ(again->aaclStageDescriptorCount(), 6u);
   EXPECT_EQ(mgTable()->calls("getNumOfEntry"), 6u);
   w.devices->deviceIdDel(XpXdk::XpDeviceId(1)); // removed outright
   EXPECT_FALSE(w.stageStatus->aaclChipStageStatus(Orim::ChipId(1)));
}

TEST_F(StageMgrTest, LdeWithoutProfilesDeclaresItsTableButNoLengths) {
   xpDeviceMgr::instance()->addDevice(2);
   auto info = aaclChipProfileStageInfoFactory(XpXdk::XpDeviceId(2), w.systemStatus);
   info->orimStageIdToLdeIdIs(Orim::StageId(4), XpXdk::XpLdeId(1));
   info->ldeIdToMgTableIdIs(XpXdk::XpLdeId(1), AaclMgTableId(1));
   info->ldeIdToMgksTableIdIs(XpXdk::XpLdeId(1), AaclMgksTableId(2));
   info->ldeSeProfileSetIs(XpXdk::XpLdeId(1), aaclSeProfileSetFactory());
   w.info->chipProfileStageInfoIs(info);
   auto cap = w.hwCap->chipHwCapabilityIs(Orim::ChipId(2));
   w.startStageMgr();
   w.deviceUp(2);
   auto chip = w.stageStatus->aaclChipStageStatus(Orim::ChipId(2));
   ASSERT_TRUE(chip && chip->aaclStageDescriptor(Orim::StageId(4)));
   EXPECT_TRUE(cap->stageHashTableDescriptor(Orim::StageId(4)));
   EXPECT_EQ(cap->srcIpV4MaskLengthCount() + cap->dstIpV6MaskLengthCount(), 0u);
}

TEST_F(StageMgrTest, LdeWithoutASetIsPublishedAndOnlyTheProfileChoiceAborts) {
   // Stage 4's LDE has no SE-profile set at all; stage 5's has one profile.
   xpDeviceMgr::instance()->addDevice(3);
   auto info = aaclChipProfileStageInfoFactory(XpXdk::XpDeviceId(3), w.systemStatus);
   for (uint32_t s : {4, 5}) {
      info->orimStageIdToLdeIdIs(Orim::StageId(s), XpXdk::XpLdeId(s));
      info->ldeIdToMgTableIdIs(XpXdk::XpLdeId(s), AaclMgTableId(s));
      info->ldeIdToMgksTableIdIs(XpXdk::XpLdeId(s), AaclMgksTableId(s - 3));
   }
   AaclSuperkeyFields fields;
   fields.sipLenIs(24, true);
   auto set = aaclSeProfileSetFactory();
   set->aaclSuperkeyFieldsIs(XpXdk::XpSeProfileId(2), fields);
   info->ldeSeProfileSetIs(XpXdk::XpLdeId(5), set);
   w.info->chipProfileStageInfoIs(info);
   auto cap = w.hwCap->chipHwCapabilityIs(Orim::ChipId(3));
   w.startStageMgr();
   w.startSeProfileMgr();
   w.devices->deviceIdIs(XpXdk::XpDeviceId(3), true);

   auto chip = w.stageStatus->aaclChipStageStatus(Orim::ChipId(3));
   ASSERT_TRUE(chip);
   auto bare = chip->aaclStageDescriptor(Orim::StageId(4));
   ASSERT_TRUE(bare);
   EXPECT_EQ(bare->ldeMgTableLookupDesc().ldeSeProfileSet(), nullptr);
   EXPECT_EQ(bare->ldeMgTableLookupDesc().text(),
             "Value('XpAcl::AaclLdeMgTableLookupDesc', ** {'ldeId': 4, 'mgTableId': 4, "
             "'mgksTableId': 1, 'ldeSeProfileSet': null})");
   EXPECT_EQ(bare->ldeMgTableLookupDesc().mgksTableId().value(), 1);
   EXPECT_TRUE(cap->stageHashTableDescriptor(Orim::StageId(4)));
   EXPECT_EQ(bare->orimStageDescriptor().ptr(),
             cap->stageHashTableDescriptor(Orim::StageId(4)).ptr());
   EXPECT_TRUE(cap->stageHashTableDescriptor(Orim::StageId(5)));
   EXPECT_EQ(sorted(cap->srcIpV4MaskLengthColl()), std::vector<uint8_t>{24});
   EXPECT_EQ(cap->dstIpV4MaskLengthCount(), 0u);

   // A rule list at the set-less stage is what cannot be served, even with zero masks.
   auto entry =
       w.seConfig->chipSeProfileConfig(Orim::ChipId(3))->configEntryIs(Orim::ChipRuleListId(1));
   Orim::MaskGroupDescriptor d;
   d.srcIpMaskLengthIs(24);
   entry->maskGroupDescriptorIs(Orim::StageId(5), d);
   auto statusEntry =
       w.seStatus->chipSeProfileStatus(Orim::ChipId(3))->statusEntry(Orim::ChipRuleListId(1));
   ASSERT_TRUE(statusEntry && statusEntry->stageStatus(Orim::StageId(5)));
   EXPECT_EQ(statusEntry->stageStatus(Orim::StageId(5))->ldeSeProfileId().value(), 2);
   EXPECT_DEATH(entry->maskGroupDescriptorIs(Orim::StageId(4), Orim::MaskGroupDescriptor()),
                "Assertion `ldeSeProfileSet' failed");
}

TEST_F(StageMgrTest, MissingInputsAndAWrongTableSizeAbort) {
   w.startStageMgr();
   w.addDevice(0, xpDeviceProfile{.mgTableEntries = 4096});
   EXPECT_DEATH(w.deviceUp(0), "Assertion `numOfEntry == \\(8 \\* 1024\\)' failed");

   w.addDevice(1);
   mgTable()->injectStatus("getNumOfEntry", XP_ERR_INVALID_ARG);
   EXPECT_DEATH(w.deviceUp(1),
                "XpAclOrimStageMgrSm.cpp:[0-9]+ \\(\\(mgTableMgr\\(\\)->getNumOfEntry\\( "
                "deviceId\\(\\)\\.value\\(\\), numOfEntry \\)\\)\\) API ERROR [0-9]+");
   mgTable()->clearInjectedStatus();

   w.devices->deviceIdIs(XpXdk::XpDeviceId(5), false);
   EXPECT_DEATH(w.deviceUp(5), "Assertion `chipProfileStageInfo' failed");
   w.info->chipProfileStageInfoIs(
       aaclDefaultProfileStageInfoFactory(XpXdk::XpDeviceId(5), w.systemStatus));
   EXPECT_DEATH(w.deviceUp(5), "Assertion `chipHwCapability' failed");
}

} // namespace
