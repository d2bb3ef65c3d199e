#include <gtest/gtest.h>

#include "norv/NotificationBatch.h"
#include "tests/xpacl/StageTestWorld.h"

using namespace XpAclTest;

namespace {

using Result = AaclSeProfileStatusResult;

Orim::MaskGroupDescriptor mgd(uint8_t sip, uint8_t dip) {
   Orim::MaskGroupDescriptor d;
   d.srcIpMaskLengthIs(sip);
   d.dstIpMaskLengthIs(dip);
   return d;
}

// A set whose profile `id` carries exactly the given lengths, for each entry.
AaclSeProfileSet profiles(
    std::initializer_list<std::tuple<uint8_t, std::vector<uint8_t>, std::vector<uint8_t>>> p) {
   AaclSeProfileSet set;
   for (const auto& [id, sips, dips] : p) {
      AaclSuperkeyFields f;
      for (auto l : sips)
         f.sipLenIs(l, true);
      for (auto l : dips)
         f.dipLenIs(l, true);
      set.aaclSuperkeyFieldsIs(XpXdk::XpSeProfileId(id), f);
   }
   return set;
}

class SeProfileMgrTest : public ::testing::Test {
protected:
   void SetUp() override {
      w.startSeProfileMgr();
      chipStages = w.stageStatus->aaclChipStageStatusIs(chip);
   }
   void stage(uint32_t s, const AaclSeProfileSet& set) {
      chipStages->aaclStageDescriptorIs(
          Orim::StageId(s), AaclLdeMgTableLookupDesc(XpXdk::XpLdeId(s + 6), AaclMgTableId(s),
                                                     AaclMgksTableId(s + 1), set));
   }
   void configure(uint32_t rl, uint32_t s, const Orim::MaskGroupDescriptor& d) {
      w.seConfig->chipSeProfileConfig(chip)
          ->configEntryIs(Orim::ChipRuleListId(rl))
          ->maskGroupDescriptorIs(Orim::StageId(s), d);
   }
   Norv::Ptr<AaclSeProfileStageStatus> status(uint32_t rl, uint32_t s) {
      auto chipStatus = w.seStatus->chipSeProfileStatus(chip);
      auto entry = chipStatus ? chipStatus->statusEntry(Orim::ChipRuleListId(rl)) : nullptr;
      return entry ? entry->stageStatus(Orim::StageId(s)) : nullptr;
   }
   // The published outcome as "result/id".
   std::string outcome(uint32_t rl, uint32_t s) {
      auto st = status(rl, s);
      return st ? std::string(norvEnumName(st->result())) + "/" + st->ldeSeProfileId().text()
                : "none";
   }

   StageTestWorld w;
   const Orim::ChipId chip{0};
   Norv::Ptr<AaclChipStageStatus> chipStages;
};

TEST_F(SeProfileMgrTest, ProfileChoice) {
   // Profiles 1 and 2 both carry DIP 5; 2 comes first in the set's hash order.
   stage(0, profiles({{1, {0, 8}, {5}}, {2, {0, 9}, {5}}, {3, {24}, {0}}}));
   stage(1, AaclSeProfileSet());
   configure(1, 0, mgd(8, 0));  // SIP only: its own profile
   configure(2, 0, mgd(0, 5));  // DIP only: the first that carries it, whatever its SIPs
   configure(3, 0, mgd(9, 5));  // both
   configure(4, 0, mgd(24, 5)); // each length offered, never together
   configure(5, 0, mgd(0, 0));
   configure(5, 1, mgd(0, 0)); // no profiles at all: still not applicable
   configure(6, 1, mgd(1, 0));
   EXPECT_EQ(outcome(1, 0), "seProfileFoundRequired/1");
   EXPECT_EQ(outcome(2, 0), "seProfileFoundRequired/2");
   EXPECT_EQ(outcome(3, 0), "seProfileFoundRequired/2");
   EXPECT_EQ(outcome(4, 0), "seProfileNotAvailable/8");
   EXPECT_EQ(outcome(5, 0), "seProfileNotApplicable/0");
   EXPECT_EQ(outcome(5, 1), "seProfileNotApplicable/0");
   EXPECT_EQ(outcome(6, 1), "seProfileNotAvailable/8");
   EXPECT_EQ(status(3, 0)->maskGroupDescriptor(), mgd(9, 5));

   configure(1, 0, mgd(24, 0)); // a changed request is answered again
   EXPECT_EQ(outcome(1, 0), "seProfileFoundRequired/3");
   EXPECT_EQ(status(1, 0)->maskGroupDescriptor(), mgd(24, 0));
}

TEST_F(SeProfileMgrTest, ConfigurationBeforeItsStageIsAnsweredWhenTheStageArrives) {
   configure(1, 4, mgd(8, 0));
   EXPECT_EQ(outcome(1, 4), "none");
   EXPECT_TRUE(w.seStatus->chipSeProfileStatus(chip)->statusEntry(Orim::ChipRuleListId(1)));
   stage(4, profiles({{0, {8}, {}}}));
   EXPECT_EQ(outcome(1, 4), "seProfileFoundRequired/0");

   // The stage's lookup changes: its descriptor is made anew and the choice runs again.
   chipStages->aaclStageDescriptorDel(Orim::StageId(4));
   EXPECT_EQ(outcome(1, 4), "seProfileFoundRequired/0"); // no stage: the answer stands
   stage(4, profiles({{5, {8}, {}}}));
   EXPECT_EQ(outcome(1, 4), "seProfileFoundRequired/5");
}

TEST_F(SeProfileMgrTest, RemovalsGoBottomUp) {
   stage(0, profiles({{0, {8}, {}}}));
   configure(1, 0, mgd(8, 0));
   configure(1, 2, mgd(8, 0));
   configure(2, 0, mgd(0, 0));
   auto config = w.seConfig->chipSeProfileConfig(chip);
   config->configEntry(Orim::ChipRuleListId(1))->maskGroupDescriptorDel(Orim::StageId(0));
   EXPECT_EQ(outcome(1, 0), "none");
   config->configEntryDel(Orim::ChipRuleListId(2));
   EXPECT_FALSE(w.seStatus->chipSeProfileStatus(chip)->statusEntry(Orim::ChipRuleListId(2)));
   EXPECT_TRUE(w.seStatus->chipSeProfileStatus(chip)->statusEntry(Orim::ChipRuleListId(1)));

   auto chipSm = w.seMgr->chipLdeSeProfileMgrSm(chip);
   w.stageStatus->aaclChipStageStatusDel(chip);
   EXPECT_FALSE(w.seStatus->chipSeProfileStatus(chip));
   EXPECT_FALSE(w.seConfig->chipSeProfileConfig(chip));
   EXPECT_FALSE(w.seMgr->chipLdeSeProfileMgrSm(chip));
   EXPECT_TRUE(chipSm->norvZombie());
}

TEST_F(SeProfileMgrTest, KeysAlreadyGoneWhenTheBatchIsDelivered) {
   stage(0, profiles({{0, {8}, {}}}));
   {
      Norv::NotificationBatch batch;
      configure(1, 0, mgd(8, 0));
      w.seConfig->chipSeProfileConfig(chip)->configEntryDel(Orim::ChipRuleListId(1));
      configure(2, 0, mgd(8, 0));
      w.seConfig->chipSeProfileConfig(chip)
          ->configEntry(Orim::ChipRuleListId(2))
          ->maskGroupDescriptorDel(Orim::StageId(0));
      batch.close();
   }
   EXPECT_FALSE(w.seStatus->chipSeProfileStatus(chip)->statusEntry(Orim::ChipRuleListId(1)));
   EXPECT_TRUE(w.seStatus->chipSeProfileStatus(chip)->statusEntry(Orim::ChipRuleListId(2)));
   EXPECT_EQ(outcome(2, 0), "none");
}

TEST_F(SeProfileMgrTest, StagesSetUpByTheStageManagerOfferTheDefaultProfiles) {
   w.startStageMgr();
   w.addDevice(1);
   w.deviceUp(1);
   const Orim::ChipId chip1(1);
   auto entry = w.seConfig->chipSeProfileConfig(chip1)->configEntryIs(Orim::ChipRuleListId(7));
   entry->maskGroupDescriptorIs(Orim::StageId(3), mgd(13, 16));
   entry->maskGroupDescriptorIs(Orim::StageId(4), mgd(0, 7));
   entry->maskGroupDescriptorIs(Orim::StageId(5), mgd(2, 0));
   auto st = w.seStatus->chipSeProfileStatus(chip1)->statusEntry(Orim::ChipRuleListId(7));
   EXPECT_EQ(st->stageStatus(Orim::StageId(3))->ldeSeProfileId().value(), 6);
   EXPECT_EQ(st->stageStatus(Orim::StageId(4))->ldeSeProfileId().value(), 0);
   EXPECT_EQ(st->stageStatus(Orim::StageId(5))->result(), Result::seProfileNotAvailable);
   // Down: the chip's configuration and status go with its stages.
   w.deviceUp(1, false);
   EXPECT_FALSE(w.seConfig->chipSeProfileConfig(chip1));
   EXPECT_FALSE(w.seStatus->chipSeProfileStatus(chip1));
}

} // namespace
