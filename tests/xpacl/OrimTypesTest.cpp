#include <gtest/gtest.h>

#include "platform/OrimHwCapability.h"
#include "platform/OrimMaskGroup.h"
#include "xpacl/model/XpAaclDefaultProfileStageInfo.h"
#include "xpacl/model/XpAclOrimTypes.h"

using namespace XpAcl;

namespace {

AaclSuperkeyFields fields(std::initializer_list<uint8_t> sip,
                          std::initializer_list<uint8_t> dip) {
   AaclSuperkeyFields f;
   for (auto l : sip)
      f.sipLenIs(l, true);
   for (auto l : dip)
      f.dipLenIs(l, true);
   return f;
}

AaclLdeMgTableLookupDesc lookupDesc(uint8_t lde, uint8_t sip) {
   AaclSeProfileSet set;
   set.aaclSuperkeyFieldsIs(XpXdk::XpSeProfileId(0), fields({sip}, {}));
   return AaclLdeMgTableLookupDesc(XpXdk::XpLdeId(lde), AaclMgTableId(lde), AaclMgksTableId(1),
                                   set);
}

TEST(OrimValues, MgksTableIdRangeAndDefault) {
   EXPECT_EQ(AaclMgksTableId().value(), AaclMgksTableId::invalid);
   EXPECT_EQ(AaclMgksTableId(7).value(), 7);
   try {
      AaclMgksTableId(8);
      FAIL() << "8 accepted";
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(),
                   "AaclMgksTableId::value < 0 or > AaclMgksTableId::invalid not allowed");
   }
}

TEST(OrimValues, EqualityAndTextualForms) {
   EXPECT_EQ(fields({16, 0}, {3}), fields({0, 16}, {3}));
   EXPECT_NE(fields({16}, {3}), fields({16}, {5}));
   EXPECT_EQ(
       fields({16, 0}, {}).text(),
       "Value('XpAcl::AaclSuperkeyFields', ** {'sipLen': {0: true, 16: true}, 'dipLen': {}})");
   EXPECT_EQ(AaclSeProfileSet(), AaclSeProfileSet()); // an LDE may offer no profile
   EXPECT_EQ(lookupDesc(6, 1).text(),
             "Value('XpAcl::AaclLdeMgTableLookupDesc', ** {'ldeId': 6, 'mgTableId': 6, "
             "'mgksTableId': 1, 'ldeSeProfileSet': Value('XpAcl::AaclSeProfileSet', ** "
             "{'aaclSuperkeyFields': {0: Value('XpAcl::AaclSuperkeyFields', ** {'sipLen': {1: "
             "true}, 'dipLen': {}})}})})");
   EXPECT_NE(lookupDesc(6, 1), lookupDesc(6, 3));
   EXPECT_EQ(Norv::text(AaclSeProfileStatusResult::seProfileNotAvailable),
             "seProfileNotAvailable");
   EXPECT_EQ(OrimConstants().text(), "");

   Orim::MaskGroupDescriptor mgd;
   mgd.aclTypeIs(2);
   mgd.srcIpMaskLengthIs(16);
   mgd.dstPortIs(true);
   mgd.srcMacMaskIs(Orim::EthAddr(0xffffff000000ull));
   mgd.tcpFlagIs(0x12);
   mgd.dscpIs(true);
   mgd.ttlIs(true);
   EXPECT_EQ(mgd.text(),
             "MaskGroupDescriptor(type=2 sip=16 dip=0 sport=0 dport=1 "
             "src=ff:ff:ff:00:00:00 dst=00:00:00:00:00:00 tcp=0x12 flags=DSCP|TTL)");
}

TEST(OrimValuesDeathTest, SuperkeyFieldsCannotBeReadFromText) {
   EXPECT_DEATH(AaclSuperkeyFields::fromText("{}"),
                "Assertion `String\\( \"This should not be used and doesn't work\" \\) == "
                "String\\( \"\" \\)' failed");
}

TEST(StageStatusTree, StagesIterateInOrderAndReinstantiationNamesTheLookup) {
   auto root = aaclStageStatusFactory("s");
   auto chip = root->aaclChipStageStatusIs(Orim::ChipId(1));
   for (uint32_t s : {5u, 0u, 3u})
      chip->aaclStageDescriptorIs(Orim::StageId(s), lookupDesc(6, 1));
   std::vector<uint32_t> order;
   for (auto it = chip->aaclStageDescriptorColl().begin(); it; ++it) {
      order.push_back(it.key().value());
   }
   EXPECT_EQ(order, (std::vector<uint32_t>{0, 3, 5}));

   auto d = chip->aaclStageDescriptor(Orim::StageId(3));
   EXPECT_EQ(chip->aaclStageDescriptorIs(Orim::StageId(3), lookupDesc(6, 1)).ptr(), d.ptr());
   try {
      chip->aaclStageDescriptorIs(Orim::StageId(3), lookupDesc(6, 3));
      FAIL() << "changed lookup accepted";
   } catch (const Norv::NameInUseError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("Reinstantiating the pointer interface where "
                                            "constructor parameter attribute "
                                            "_ldeMgTableLookupDesc has a different value of "
                                            "Value('XpAcl::AaclLdeMgTableLookupDesc'",
                                            0),
                0u);
   }

   // Deleting the chip takes its stages with it: only this test still holds the descriptor.
   root->aaclChipStageStatusDel(Orim::ChipId(1));
   chip = nullptr;
   EXPECT_EQ(root->aaclChipStageStatusCount(), 0u);
   EXPECT_EQ(d->references(), 1u);
}

TEST(ProfileStageInfo, MembersAreFiledUnderTheirDeviceAndNullIsRefused) {
   auto info = aaclProfileStageInfoFactory(nullptr);
   const XpXdk::XpDeviceId dev(3);
   auto first = aaclChipProfileStageInfoFactory(dev, nullptr);
   info->chipProfileStageInfoIs(first);
   auto second = aaclChipProfileStageInfoFactory(dev, nullptr);
   info->newChipProfileStageInfo(second);
   EXPECT_EQ(info->chipProfileStageInfoCount(), 1u);
   EXPECT_EQ(info->chipProfileStageInfo(dev).ptr(), second.ptr());
   try {
      info->chipProfileStageInfoIs(Norv::Ptr<AaclChipProfileStageInfo>());
      FAIL() << "null accepted";
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null _chipProfileStageInfo parameter to mutator for "
                             "XpAcl::AaclProfileStageInfo::chipProfileStageInfo not allowed\"");
   }
}

TEST(DefaultProfileStageInfo, LayoutOfStagesTablesAndProfiles) {
   auto info = aaclDefaultProfileStageInfoFactory(XpXdk::XpDeviceId(0), nullptr);
   EXPECT_TRUE(info->initialized());
   EXPECT_EQ(info->orimStageIdToLdeIdCount(), 6u);
   EXPECT_EQ(info->ldeIdToMgTableIdCount(), 6u);
   EXPECT_EQ(info->ldeIdToMgksTableIdCount(), 6u);
   for (uint8_t s = 0; s < 6; ++s) {
      const XpXdk::XpLdeId lde = info->orimStageIdToLdeId(Orim::StageId(s));
      EXPECT_EQ(lde.value(), s + 6);
      EXPECT_EQ(info->ldeIdToMgTableId(lde).value(), s);
      EXPECT_EQ(info->ldeIdToMgksTableId(lde).value(), s + 1);
      ASSERT_TRUE(info->ldeSeProfileSet(lde));
      EXPECT_EQ(info->ldeSeProfileSet(lde)->aaclSuperkeyFieldsCount(), 8u);
   }
   const auto set = info->ldeSeProfileSet(XpXdk::XpLdeId(6));
   EXPECT_EQ(set->aaclSuperkeyFields(XpXdk::XpSeProfileId(7)),
             fields({0, 16}, {0, 1, 3, 5, 7, 9, 11, 13, 16}));
   EXPECT_EQ(set->aaclSuperkeyFields(XpXdk::XpSeProfileId(0)),
             fields({0, 1}, {0, 1, 3, 5, 7, 9, 11, 13, 16}));
   EXPECT_FALSE(info->ldeSeProfileSet(XpXdk::XpLdeId(5)));

   // An LDE that serves no stage gets nothing, even with a set of its own.
   info->ldeSeProfileSetIs(XpXdk::XpLdeId(3), aaclSeProfileSetFactory());
   info->doPopulateSipDipLengths(XpXdk::XpLdeId(3), XpXdk::XpSeProfileId(2));
   EXPECT_EQ(info->ldeSeProfileSet(XpXdk::XpLdeId(3))->aaclSuperkeyFieldsCount(), 0u);
   EXPECT_DEATH(info->doPopulateSipDipLengths(XpXdk::XpLdeId(6), XpXdk::XpSeProfileId(8)),
                "Assertion `0' failed");
}

} // namespace
