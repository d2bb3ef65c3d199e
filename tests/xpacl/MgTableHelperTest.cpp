#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <map>
#include <random>

#include "tests/xpacl/MgTestWorld.h"

using namespace XpAclTest;

namespace {

using Key = Orim::PerStageHashTableKey;
using Bytes = std::array<uint8_t, xpAaclMgTableEntryKey::kBytes>;

Bytes bytesOf(const xpAaclMgTableEntryKey& k) {
   Bytes b;
   std::copy(std::begin(k.bytes), std::end(k.bytes), b.begin());
   return b;
}

Orim::PDKeyValue pdKey() {
   Orim::PDKeyValue k;
   k.srcIpLabelIs(0x12345678);
   k.dstIpLabelIs(0x9abc);
   k.srcPortLabelIs(0x0102);
   k.dstPortLabelIs(0xfffe);
   k.ttlIs(64);
   k.establishedIs(1);
   k.fragmentIs(false);
   k.protocolIs(17);
   return k;
}

Orim::MaskGroupDescriptor mgdOf(uint8_t type, bool ttl, bool frag, bool proto) {
   Orim::MaskGroupDescriptor m;
   m.aclTypeIs(type);
   m.ttlIs(ttl);
   m.ipFragIs(frag);
   m.ipProtoIs(proto);
   return m;
}

Bytes fill(const Orim::PDKeyValue& k, const Orim::MaskGroupDescriptor& m,
           Acl::AclDirection dir = Acl::AclDirection::in, uint32_t list = 0x2a) {
   xpAaclMgTableEntryKey key;
   XpAcl::fillMgTableEntryKey(Orim::ChipRuleListId(list), dir, k, m, key);
   return bytesOf(key);
}

TEST(MgTableKey, EveryFieldEnabledPacksBitExactly) {
   const Bytes expected{0,    0,    0x06, 0x3f, 0x2a, 0x11, 0x02, 0x01, 0xfe,
                        0xff, 0x78, 0x56, 0xbc, 0x9a, 0,    0,    0xc4, 0x2a};
   EXPECT_EQ(fill(pdKey(), mgdOf(2, true, true, true), Acl::AclDirection::out), expected);
}

TEST(MgTableKey, FieldsNotEnabledCarryTheRuleListId) {
   Orim::PDKeyValue k = pdKey();
   k.establishedIs(0);
   k.fragmentIs(true);
   const Bytes expected{0,    0,    0x00, 0x2a, 0x2a, 0x2a, 0x02, 0x01, 0xfe,
                        0xff, 0x78, 0x56, 0xbc, 0x9a, 0,    0,    0x10, 0x2a};
   EXPECT_EQ(fill(k, mgdOf(3, false, false, false)), expected);
   // Only the low byte of the list id fits.
   EXPECT_EQ(fill(k, mgdOf(3, false, false, false), Acl::AclDirection::in, 0x1ff)[17], 0xff);
}

TEST(MgTableKey, EachEnableFlagAlone) {
   Orim::PDKeyValue k = pdKey();
   k.establishedIs(0);
   // TTL: one less than the packet's.
   Bytes b = fill(k, mgdOf(1, true, false, false));
   EXPECT_EQ(b[3], 63);
   EXPECT_EQ(b[5], 0x2a);
   EXPECT_EQ(b[2], 0);
   // Fragment: inverted; a fragment rule has F clear.
   b = fill(k, mgdOf(1, false, true, false));
   EXPECT_EQ(b[2], 0x02);
   EXPECT_EQ(b[3], 0x2a);
   k.fragmentIs(true);
   EXPECT_EQ(fill(k, mgdOf(1, false, true, false))[2], 0x00);
   // Protocol.
   b = fill(k, mgdOf(1, false, false, true));
   EXPECT_EQ(b[5], 17);
   EXPECT_EQ(b[3], 0x2a);
   // Established sets the lowest TCP-flag bit, whatever the mask group says.
   k.establishedIs(9);
   EXPECT_EQ(fill(k, mgdOf(1, false, false, false))[2], 0x04);
}

TEST(MgTableKey, AclTypesAndDirection) {
   const std::pair<uint8_t, uint8_t> codes[] = {{1, 0x04}, {2, 0x44}, {3, 0x10}, {4, 0x50}};
   for (auto [type, code] : codes) {
      EXPECT_EQ(fill(pdKey(), mgdOf(type, false, false, false))[16], code);
      EXPECT_EQ(fill(pdKey(), mgdOf(type, false, false, false), Acl::AclDirection::out)[16],
                code | 0x80);
   }
}

TEST(MgTableKey, LowBitsOfTheFlagByteStay) {
   xpAaclMgTableEntryKey key;
   key.bytes[2] = 0x03;
   XpAcl::fillMgTableEntryKey(Orim::ChipRuleListId(1), Acl::AclDirection::in, pdKey(),
                              mgdOf(1, false, false, false), key);
   // Bit 0 stays; bit 1 is the fragment bit, clear when fragments are not matched.
   EXPECT_EQ(key.bytes[2], 0x01 | 0x04);
}

TEST(MgTableKeyDeath, TcpFlagsAndUnknownTypesAbort) {
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   Orim::PDKeyValue k = pdKey();
   k.tcpFlagIs(Acl::TcpFlag(Acl::TcpFlag::syn));
   EXPECT_DEATH(fill(k, mgdOf(1, false, false, false)),
                "Assertion `!pdKey.tcpFlag\\(\\).value\\(\\)' failed");
   EXPECT_DEATH(fill(pdKey(), mgdOf(0, false, false, false)), "Unsupported aclType");
   EXPECT_DEATH(fill(pdKey(), mgdOf(5, false, false, false)), "Unsupported aclType");
}

// Counted rules as the flat map holds them, against an ordered map: runs of rule ids, keys
// that differ only in the device or the list, and random keys.
TEST(CounterEntryKeyMap, SequentialAndRandomKeysAgreeWithAnOrderedMap) {
   Norv::FlatHashMap<XpAcl::CounterEntryKey, uint16_t> flat;
   std::map<XpAcl::CounterEntryKey, uint16_t> model;
   std::mt19937 rng(7);
   auto put = [&](const XpAcl::CounterEntryKey& k) {
      const auto v = static_cast<uint16_t>(model.size());
      if (model.emplace(k, v).second) {
         EXPECT_TRUE(flat.insert(k, v).second);
      }
   };
   for (uint32_t rule = 0; rule < 3000; ++rule)
      put(XpAcl::CounterEntryKey(XpXdk::XpDeviceId(1), aclIdOf(5), rule));
   for (uint32_t dev = 0; dev < 64; ++dev) {
      for (uint32_t list = 0; list < 16; ++list) {
         put(XpAcl::CounterEntryKey(
             XpXdk::XpDeviceId(static_cast<uint8_t>(dev)),
             aclIdOf(list, list % 2 ? Acl::AclDirection::out : Acl::AclDirection::in),
             1u << 31));
      }
   }
   for (int i = 0; i < 3000; ++i) {
      put(XpAcl::CounterEntryKey(XpXdk::XpDeviceId(static_cast<uint8_t>(rng())),
                                 aclIdOf(rng() % 4096), static_cast<uint32_t>(rng())));
   }
   ASSERT_EQ(flat.size(), model.size());
   bool odd = false;
   for (auto it = model.begin(); it != model.end();) {
      const uint16_t* v = flat.find(it->first);
      ASSERT_TRUE(v);
      EXPECT_EQ(*v, it->second);
      odd = !odd;
      if (odd) {
         EXPECT_TRUE(flat.erase(it->first));
         it = model.erase(it);
      } else {
         ++it;
      }
   }
   ASSERT_EQ(flat.size(), model.size());
   for (const auto& [k, v] : model) {
      const uint16_t* found = flat.find(k);
      ASSERT_TRUE(found);
      EXPECT_EQ(*found, v);
   }
   EXPECT_FALSE(flat.contains(XpAcl::CounterEntryKey(XpXdk::XpDeviceId(1), aclIdOf(5), 3000)));
}

TEST(CounterEntryKeyText, ReadsBackWhatItWrites) {
   const XpAcl::CounterEntryKey key(XpXdk::XpDeviceId(3), aclIdOf(7, Acl::AclDirection::out),
                                    4000000000u);
   EXPECT_EQ(key.text(), "Value('XpAcl::CounterEntryKey', ** {'deviceId': 3, 'aclId': "
                         "Value('Orim::AclId', ** {'chipRuleListId': 7, 'direction': out}), "
                         "'ruleId': 4000000000})");
   EXPECT_EQ(XpAcl::CounterEntryKey::fromText(key.text()), key);
   std::string bad = key.text();
   bad.replace(bad.find("'deviceId': 3"), 13, "'deviceId': 300");
   EXPECT_THROW(XpAcl::CounterEntryKey::fromText(bad), Norv::RangeError);
   EXPECT_THROW(XpAcl::CounterEntryKey::fromText(key.text() + " "), Norv::RangeError);
   EXPECT_THROW(XpAcl::CounterEntryKey::fromText("Value('XpAcl::CounterEntryKey', ** {})"),
                Norv::RangeError);
   // Ordered by device, then ACL, then rule.
   const XpAcl::CounterEntryKey later(XpXdk::XpDeviceId(3), aclIdOf(8), 0);
   EXPECT_LT(key, later);
   EXPECT_GE(later, key);
}

TEST(LinkStack, LastInFirstOutWithItsTwoRangeErrors) {
   Norv::LinkStack<uint16_t> s(4);
   EXPECT_EQ(s.pop(), 0); // empty
   s.push(7);
   s.push(8);
   EXPECT_EQ(s.at(0), 7);
   EXPECT_EQ(s.at(1), 8);
   EXPECT_EQ(s.pop(), 8);
   EXPECT_EQ(s.at(1), 0); // popped
   EXPECT_THROW(s.at(2), Norv::RangeError);
   s.push(9);
   s.push(10);
   EXPECT_EQ(s.metadata().nextSeq, 4u);
   EXPECT_EQ(s.metadata().topSeq, 3u);
   try {
      s.push(11);
      FAIL() << "no error";
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "linkstack index space full");
   }
   try {
      s.at(4);
      FAIL() << "no error";
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "linkstack index out of range");
   }
   EXPECT_EQ(s.pop(), 10);
   EXPECT_EQ(s.pop(), 9);
   EXPECT_EQ(s.pop(), 7);
}

class MgTableHelperTest : public ::testing::Test {
protected:
   void SetUp() override {
      GTEST_FLAG_SET(death_test_style, "threadsafe");
      w.chipUp(1);
   }
   uint32_t add(const Key& key, const Orim::PerStageTableEntry& e, uint32_t stage = 2) {
      return w.helper->addEntry(dev, Orim::StageId(stage), key, &e);
   }
   void remove(const Key& key, uint32_t stage = 2) {
      w.helper->removeEntry(dev, Orim::StageId(stage), key);
   }
   // The hardware entry of stage 2 (MG table 2) at `index`.
   xpAaclMgTableEntry hw(uint32_t index, uint32_t table = 2) {
      const xpAaclMgTableEntry* e = mgModel()->validEntry(1, table, index);
      return e ? *e : xpAaclMgTableEntry{};
   }
   uint16_t counterOf(uint32_t index) { return hw(index).data.word[0] >> 3; }

   MgTestWorld w;
   const XpXdk::XpDeviceId dev{1};
   const Orim::ChipId chip{1};
};

TEST_F(MgTableHelperTest, EntryGoesToWayTimes8192PlusHashIndex) {
   EXPECT_EQ(add(Key(1, 5), rule(3, 1, false)), 8197u);
   const xpAaclMgTableEntry e = hw(8197);
   xpAaclMgTableEntryKey expected;
   const Orim::PerStageTableEntry r = rule(3, 1, false);
   XpAcl::fillMgTableEntryKey(Orim::ChipRuleListId(3), Acl::AclDirection::in, r.pdKey(),
                              r.maskGroupDescriptor(), expected);
   EXPECT_EQ(e.key, expected);
   EXPECT_EQ(add(Key(3, 8191), rule(3, 2, false), 5), 3u * 8192 + 8191);
   EXPECT_TRUE(mgModel()->validEntry(1, 5, 3 * 8192 + 8191));
}

TEST_F(MgTableHelperTest, ControlDataAndPriority) {
   Orim::PerStageTableEntry e = rule(3, 1, false);
   e.aclResultIs(true);
   e.loggingIs(true);
   e.priorityIs(100);
   add(Key(0, 1), e);
   EXPECT_EQ(hw(1).data.word[0], 0x3);
   EXPECT_EQ(hw(1).data.word[1], kPriorityMax - 100);
   e.aclResultIs(false);
   e.priorityIs(kPriorityMax);
   add(Key(0, 2), e);
   EXPECT_EQ(hw(2).data.word[0], 0x2);
   EXPECT_EQ(hw(2).data.word[1], 0); // the highest priority
   e.priorityIs(0);
   add(Key(0, 3), e);
   EXPECT_EQ(hw(3).data.word[1], kPriorityMax);
   e.priorityIs(kPriorityMax + 1);
   EXPECT_DEATH(add(Key(0, 4), e),
                "Assertion `chipHwCapability->priorityFieldMaxCount\\(\\) >= "
                "entry->priority\\(\\)' failed");
}

TEST_F(MgTableHelperTest, CountersAreHandedOutFromTheTopAndTakenBackLastInFirstOut) {
   add(Key(0, 1), rule(3, 1, true));
   add(Key(0, 2), rule(3, 2, true));
   EXPECT_EQ(counterOf(1), 4095);
   EXPECT_EQ(counterOf(2), 4094);
   EXPECT_TRUE(w.helper->isCounterAttached(chip, aclIdOf(3), 1));
   EXPECT_FALSE(w.helper->isCounterAttached(chip, aclIdOf(3), 3));
   remove(Key(0, 1));
   EXPECT_FALSE(w.helper->isCounterAttached(chip, aclIdOf(3), 1));
   add(Key(0, 3), rule(3, 3, true));
   EXPECT_EQ(counterOf(3), 4095); // the index just freed
   // A rule written again (another stage here) keeps its counter.
   add(Key(0, 9), rule(3, 2, true), 4);
   EXPECT_EQ(counterOf(9), 0); // not stage 2's table
   EXPECT_EQ(hw(9, 4).data.word[0] >> 3, 4094);
   EXPECT_EQ(w.helper->counterIndexCount(), 2u);
   EXPECT_EQ(w.helper->counterEntryKey(4094), XpAcl::CounterEntryKey(dev, aclIdOf(3), 2));
}

TEST_F(MgTableHelperTest, AnUncountedRemovalPutsIndexZeroOnTheStack) {
   add(Key(0, 1), rule(3, 1, false));
   remove(Key(0, 1));
   add(Key(0, 2), rule(3, 2, true));
   // 0 was pushed last, so it is the next handed out: the entry is counted on counter 0.
   EXPECT_EQ(counterOf(2), 0);
   EXPECT_TRUE(w.helper->isCounterAttached(chip, aclIdOf(3), 2));
   add(Key(0, 3), rule(3, 3, true));
   EXPECT_EQ(counterOf(3), 4095);
}

TEST_F(MgTableHelperTest, TheRuleAfterTheLastCounterIsWrittenUncounted) {
   for (uint32_t i = 0; i < 4095; ++i)
      add(Key(i / 8192, i % 8192), rule(3, i, true));
   EXPECT_EQ(w.helper->freeCounterIndexCount(), 0u);
   EXPECT_EQ(counterOf(4094), 1);
   TraceCapture trace("XpAclMgTableHelper/5");
   add(Key(0, 5000), rule(3, 5000, true));
   EXPECT_EQ(counterOf(5000), 0);
   EXPECT_FALSE(w.helper->isCounterAttached(chip, aclIdOf(3), 5000));
   EXPECT_NE(trace.text().find(" counter index is not available for aclId "), std::string::npos)
       << trace.text();
}

TEST_F(MgTableHelperTest, DeltaCountsSinceTheLastQuestion) {
   add(Key(0, 1), rule(3, 1, true));
   add(Key(0, 2), rule(3, 2, false));
   acmModel()->countPackets(1, 4095, 5, 500);
   EXPECT_EQ(w.helper->getDeltaCounter(chip, aclIdOf(3), 1), 0u); // not polled yet
   w.helper->doUpdateAclCounters();
   acmModel()->countPackets(1, 4095, 2, 200);
   w.helper->doUpdateAclCounters();
   EXPECT_EQ(w.helper->getDeltaCounter(chip, aclIdOf(3), 1), 7u);
   EXPECT_EQ(w.helper->getDeltaCounter(chip, aclIdOf(3), 1), 0u);
   EXPECT_EQ(w.helper->getDeltaCounter(chip, aclIdOf(3), 2), 0u); // uncounted
   // Counts not collected when the entry goes are lost with it, and its counter starts over.
   acmModel()->countPackets(1, 4095, 3, 300);
   w.helper->doUpdateAclCounters();
   acmModel()->countPackets(1, 4095, 1, 100);
   remove(Key(0, 1));
   EXPECT_EQ(acmModel()->peekPackets(1, 4095), 0u);
   EXPECT_EQ(w.helper->aclHitCountCount(), 0u);
   add(Key(0, 1), rule(3, 1, true));
   w.helper->doUpdateAclCounters();
   EXPECT_EQ(w.helper->getDeltaCounter(chip, aclIdOf(3), 1), 0u);
}

TEST_F(MgTableHelperTest, PollReadsEachCountedRuleOnce) {
   for (uint32_t i = 0; i < 10; ++i)
      add(Key(0, i), rule(3, i, i % 2 == 0));
   acmModel()->resetCounters();
   w.helper->doUpdateAclCounters();
   EXPECT_EQ(acmModel()->calls("getCounterValue"), 5u);
}

TEST_F(MgTableHelperTest, ActiveEntriesPerTableAndTheLastRemovalDeletesTheMember) {
   add(Key(0, 1), rule(3, 1, false));
   add(Key(0, 2), rule(3, 2, false));
   add(Key(0, 2), rule(3, 2, false), 3);
   EXPECT_EQ(w.helper->activeEntryCntAtStage(2), 2u);
   EXPECT_EQ(w.helper->activeEntryCntAtStage(3), 1u);
   remove(Key(0, 1));
   EXPECT_EQ(w.helper->activeEntryCntAtStage(2), 1u);
   remove(Key(0, 2));
   EXPECT_FALSE(w.helper->activeEntryCntAtStageColl().contains(2));
   EXPECT_EQ(w.helper->activeEntryCntAtStageCount(), 1u);
   EXPECT_FALSE(mgModel()->validEntry(1, 2, 2));
}

TEST_F(MgTableHelperTest, HashIndexIsTheChipsHashOfTheWrittenKey) {
   const Orim::PerStageTableEntry r = rule(9, 4, false);
   auto stageDesc = w.hwCap->chipHwCapability(chip)->stageHashTableDescriptor(Orim::StageId(2));
   for (uint8_t way = 0; way < 4; ++way) {
      const uint32_t h = w.helper->hashIndex(dev, r.pdKey(), stageDesc, r.maskGroupDescriptor(),
                                             way, r.aclId());
      xpAaclMgTableEntryKey key;
      XpAcl::fillMgTableEntryKey(Orim::ChipRuleListId(9), Acl::AclDirection::in, r.pdKey(),
                                 r.maskGroupDescriptor(), key);
      uint32_t chipHash = 0;
      ASSERT_EQ(mgModel()->hashIndexInWay(1, 2, way, &key, chipHash), XP_NO_ERR);
      EXPECT_EQ(h, chipHash);
   }
}

TEST_F(MgTableHelperTest, UnknownChipStageOrCapabilityAborts) {
   const Orim::PerStageTableEntry r = rule(3, 1, false);
   EXPECT_DEATH(w.helper->addEntry(XpXdk::XpDeviceId(7), Orim::StageId(2), Key(0, 1), &r),
                "Assertion `aaclChipStageStatus' failed");
   EXPECT_DEATH(w.helper->addEntry(dev, Orim::StageId(6), Key(0, 1), &r),
                "Assertion `aaclStageDescriptor' failed");
   EXPECT_DEATH(w.helper->removeEntry(dev, Orim::StageId(6), Key(0, 1)),
                "Assertion `aaclStageDescriptor' failed");
   w.hwCap->chipHwCapabilityDel(chip);
   EXPECT_DEATH(w.helper->addEntry(dev, Orim::StageId(2), Key(0, 1), &r),
                "Assertion `chipHwCapability' failed");
}

// The priority written follows the chip's capability: changed, replaced and removed.
TEST_F(MgTableHelperTest, PriorityFollowsTheChipCapability) {
   Orim::PerStageTableEntry e = rule(3, 1, false);
   e.priorityIs(100);
   add(Key(0, 1), e);
   EXPECT_EQ(hw(1).data.word[1], kPriorityMax - 100);
   w.hwCap->chipHwCapability(chip)->priorityFieldMaxCountIs(0x0fff);
   add(Key(0, 2), e);
   EXPECT_EQ(hw(2).data.word[1], 0x0fff - 100);
   w.hwCap->chipHwCapabilityDel(chip);
   w.hwCap->chipHwCapabilityIs(chip)->priorityFieldMaxCountIs(500);
   add(Key(0, 3), e);
   EXPECT_EQ(hw(3).data.word[1], 400);
   w.hwCap->chipHwCapabilityDel(chip);
   EXPECT_DEATH(add(Key(0, 6), e), "Assertion `chipHwCapability' failed");
}

// What the helper knows of a stage's table follows the stage status.
TEST_F(MgTableHelperTest, AChangedStageLayoutIsFollowed) {
   add(Key(0, 1), rule(3, 1, false));
   EXPECT_TRUE(mgModel()->validEntry(1, 2, 1));
   auto chipStatus = w.stageStatus->aaclChipStageStatus(chip);
   const AaclLdeMgTableLookupDesc old =
       chipStatus->aaclStageDescriptor(Orim::StageId(2))->ldeMgTableLookupDesc();
   chipStatus->aaclStageDescriptorDel(Orim::StageId(2));
   chipStatus->aaclStageDescriptorIs(
       Orim::StageId(2), AaclLdeMgTableLookupDesc(old.ldeId(), AaclMgTableId(7),
                                                  old.mgksTableId(), old.ldeSeProfileSet()));
   add(Key(0, 2), rule(3, 2, false));
   EXPECT_TRUE(mgModel()->validEntry(1, 7, 2));
   EXPECT_FALSE(mgModel()->validEntry(1, 2, 2));
   // The chip's stage status goes: the helper no longer knows the stage.
   w.stageStatus->aaclChipStageStatusDel(chip);
   EXPECT_DEATH(add(Key(0, 3), rule(3, 3, false)), "Assertion `aaclChipStageStatus' failed");
   // A new one is watched as the old one was.
   auto fresh = w.stageStatus->aaclChipStageStatusIs(chip);
   fresh->aaclStageDescriptorIs(Orim::StageId(2), old);
   add(Key(0, 4), rule(3, 4, false));
   EXPECT_TRUE(mgModel()->validEntry(1, 2, 4));
   fresh->aaclStageDescriptorDel(Orim::StageId(2));
   EXPECT_DEATH(add(Key(0, 5), rule(3, 5, false)), "Assertion `aaclStageDescriptor' failed");
}

// The error line names the call as written in the helper.
std::string apiError(const std::string& call) {
   std::string re;
   for (char c : call) {
      if (std::string(".[]{}()\\*+?^$|").find(c) != std::string::npos) re += '\\';
      re += c;
   }
   return "XpAclMgTableHelper\\.cpp:[0-9]+ " + re + " API ERROR 7";
}

TEST_F(MgTableHelperTest, RefusedCallsAbortWithTheirCallText) {
   const Orim::PerStageTableEntry r = rule(3, 1, true);
   add(Key(0, 1), r);
   auto stageDesc = w.hwCap->chipHwCapability(chip)->stageHashTableDescriptor(Orim::StageId(2));
   const std::pair<const char*, const char*> calls[] = {
       {"hashIndexInWay", "((mgTableMgr()->hashIndexInWay( deviceId.value(), mgTableId, "
                          "subTableId, &key, hashIndex )))"},
       {"writeKeyAndControlData", "((mgTableMgr()->writeKeyAndControlData( deviceId, "
                                  "mgTableIndex, index, &hwEntry )))"},
       {"readEntry", "((mgTableMgr()->readEntry( devId, mgTableIndex, index, &hwKey, &hwData "
                     ")))"},
       {"removeEntry", "((mgTableMgr()->removeEntry( devId, mgTableIndex, index )))"},
   };
   for (const auto& [op, text] : calls) {
      mgModel()->injectStatus(op, XP_ERR_TABLE_FULL);
      EXPECT_DEATH(
          {
             w.helper->hashIndex(dev, r.pdKey(), stageDesc, r.maskGroupDescriptor(), 0,
                                 r.aclId());
             add(Key(0, 2), r);
             remove(Key(0, 1));
          },
          apiError(text));
      mgModel()->clearInjectedStatus();
   }
   acmModel()->injectStatus("getCounterValue", XP_ERR_TABLE_FULL);
   EXPECT_DEATH(w.helper->doUpdateAclCounters(),
                apiError("((acmBankMgr->getCounterValue( iter.key().deviceId().value(), "
                         "XP_ACM_AACL_COUNTER, cIndex, &pktCount, &byteCount )))"));
   EXPECT_DEATH(remove(Key(0, 1)),
                apiError("((acmBankMgr->getCounterValue( devId.value(), XP_ACM_AACL_COUNTER, "
                         "cIndex, &pktCount, &byteCount )))"));
   acmModel()->clearInjectedStatus();
   // 9 and 42 are success.
   mgModel()->injectStatus("writeKeyAndControlData", XP_ERR_KEY_EXISTS);
   mgModel()->injectStatus("removeEntry", XP_ERR_NO_CHANGE);
   add(Key(0, 3), r);
   remove(Key(0, 3));
}

std::string dumpOf(const XpAcl::MgTableHelper& h, uint8_t dev, uint32_t stage) {
   std::FILE* f = std::tmpfile();
   h.doShowTblEntries(fileno(f), XpXdk::XpDeviceId(dev), Orim::StageId(stage));
   std::rewind(f);
   std::string out;
   char buf[4096];
   for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
      out.append(buf, n);
   std::fclose(f);
   return out;
}

TEST_F(MgTableHelperTest, DumpShowsEachEntryOnTwoRows) {
   Orim::PerStageTableEntry e = rule(3, 0x22, true, 0x1234, 7);
   Orim::PDKeyValue k = e.pdKey();
   k.srcPortLabelIs(0x55);
   k.dstPortLabelIs(0x66);
   k.ttlIs(10);
   k.protocolIs(6);
   k.establishedIs(1);
   e.pdKeyIs(k);
   Orim::MaskGroupDescriptor m = e.maskGroupDescriptor();
   m.aclTypeIs(2);
   m.ttlIs(true);
   m.ipProtoIs(true);
   m.ipFragIs(true);
   e.maskGroupDescriptorIs(m);
   e.aclIdIs(aclIdOf(3, Acl::AclDirection::out));
   e.aclResultIs(true);
   add(Key(1, 5), e);
   const std::string sep = "-------|----|--------|----|----|----------|------------------------"
                           "-----------------------------------------|\n";
   const std::string expected =
       sep +
       "hw     |acl |        |log |cnt |cnt       |                                        "
       "                         |\n"
       "Index  |Rslt|Priority|En  |Mode|Index     |        Key Specific Information        "
       "                         |\n" +
       sep +
       "   8197|   1|    8184|   0|   0|      4095|AclId:003 PktType:1 AclType:1 Direction:1 "
       "SIP:0x1234 DIP:0x0022 SPort:0x0055|\n"
       "                                          |DPort:0x0066 Proto:6 ToS:0x03 TTL:0x09 F:1 "
       "TCP Flags:0x1         |\n" +
       sep +
       "Number of valid entries in range of 0 to 32768 : 1\n"
       "Maximum possible table entries : 32768\n";
   EXPECT_EQ(dumpOf(*w.helper, 1, 2), expected);

   // A MAC key, which only the chip's other users write, reads as addresses on one row that
   // ends without a newline.
   xpAaclMgTableEntry mac;
   for (uint8_t i = 0; i < 12; ++i)
      mac.key.bytes[i] = static_cast<uint8_t>(0x10 + i);
   mac.key.bytes[16] = 7 << 2;
   mac.key.bytes[17] = 9;
   mac.data.word[1] = 3;
   ASSERT_EQ(mgModel()->writeKeyAndControlData(1, 2, 3, &mac), XP_NO_ERR);
   const std::string dump = dumpOf(*w.helper, 1, 2);
   EXPECT_NE(
       dump.find("      3|   0|       3|   0|   0|         0|AclId:009 PktType:7 AclType:0, "
                 "Direction:0 SA:1b1a.1918.1716 DA:1514.1312.1110|   8197|"),
       std::string::npos)
       << dump;
   EXPECT_EQ(dumpOf(*w.helper, 1, 9), ""); // unknown stage
   EXPECT_EQ(dumpOf(*w.helper, 6, 2), ""); // unknown chip
}

} // namespace
