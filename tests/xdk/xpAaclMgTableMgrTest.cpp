#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

class MgTableModelTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      ASSERT_EQ(xpDeviceMgr::instance()->addDevice(1, {}), XP_NO_ERR);
      mg = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
          xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
      acm =
          xpAcmPl::instance()->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0));
      ASSERT_TRUE(mg && acm);
   }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }

   static xpAaclMgTableEntry entryWith(uint8_t b, uint16_t data) {
      xpAaclMgTableEntry e;
      e.key.bytes[17] = b;
      e.key.bytes[3] = static_cast<uint8_t>(b * 7);
      e.data.word[0] = data;
      return e;
   }

   xpAaclMgTableMgr* mg = nullptr;
   xpAcmBankMgr* acm = nullptr;
};

TEST_F(MgTableModelTest, SizesFollowTheProfile) {
   uint32_t n = 0;
   EXPECT_EQ(mg->getNumOfEntry(1, n), XP_NO_ERR);
   EXPECT_EQ(n, 8192u);
   EXPECT_EQ(mg->getNumOfEntry(1, 5, n), XP_NO_ERR);
   EXPECT_EQ(n, 4u * 8192u);
   EXPECT_EQ(mg->getNumOfWays(1, n), XP_NO_ERR);
   EXPECT_EQ(n, 4u);
   ASSERT_EQ(xpDeviceMgr::instance()->addDevice(2, {.mgTableEntries = 1024, .mgTableWays = 2}),
             XP_NO_ERR);
   EXPECT_EQ(mg->getNumOfEntry(2, 0, n), XP_NO_ERR);
   EXPECT_EQ(n, 2048u);
   // A way's index is a power of two wide.
   EXPECT_NE(xpDeviceMgr::instance()->addDevice(3, {.mgTableEntries = 1000}), XP_NO_ERR);
   EXPECT_EQ(mg->getNumOfEntry(64, 0, n), XP_ERR_INVALID_DEV_ID);
   EXPECT_EQ(mg->getNumOfEntry(9, 0, n), XP_ERR_DEVICE_NOT_ADDED);
   EXPECT_EQ(mg->getNumOfEntry(1, 8, n), XP_ERR_INVALID_ARG);
}

TEST_F(MgTableModelTest, WriteReadRemoveAtIndexesOfEveryWay) {
   const uint32_t last = 4 * 8192 - 1;
   for (uint32_t index : {0u, 8191u, 8192u + 5, last}) {
      const auto e = entryWith(static_cast<uint8_t>(index), static_cast<uint16_t>(index));
      ASSERT_EQ(mg->writeKeyAndControlData(1, 2, index, &e), XP_NO_ERR);
      xpAaclMgTableEntryKey key;
      xpAaclMgTableEntryData data;
      ASSERT_EQ(mg->readEntry(1, 2, index, &key, &data), XP_NO_ERR);
      EXPECT_EQ(key, e.key);
      EXPECT_EQ(data, e.data);
      ASSERT_NE(mg->validEntry(1, 2, index), nullptr);
      // Another table of the device holds nothing there.
      EXPECT_EQ(mg->validEntry(1, 3, index), nullptr);
      EXPECT_EQ(mg->removeEntry(1, 2, index), XP_NO_ERR);
      EXPECT_EQ(mg->removeEntry(1, 2, index), XP_ERR_NO_CHANGE);
      ASSERT_EQ(mg->readEntry(1, 2, index, &key, &data), XP_NO_ERR);
      EXPECT_EQ(key, xpAaclMgTableEntryKey{});
      EXPECT_EQ(data, xpAaclMgTableEntryData{});
   }
   const auto e = entryWith(1, 1);
   EXPECT_EQ(mg->writeKeyAndControlData(1, 2, last + 1, &e), XP_ERR_INVALID_INDEX);
   EXPECT_EQ(mg->writeKeyAndControlData(1, 8, 0, &e), XP_ERR_INVALID_ARG);
   EXPECT_EQ(mg->calls("writeKeyAndControlData"), 6u);
   EXPECT_EQ(mg->calls("readEntry"), 8u);
   EXPECT_EQ(mg->calls("removeEntry"), 8u);
}

TEST_F(MgTableModelTest, InjectedStatusRefusesTheWrite) {
   const auto e = entryWith(3, 3);
   mg->injectStatus("writeKeyAndControlData", XP_ERR_TABLE_FULL);
   EXPECT_EQ(mg->writeKeyAndControlData(1, 0, 7, &e), XP_ERR_TABLE_FULL);
   EXPECT_EQ(mg->validEntry(1, 0, 7), nullptr);
   EXPECT_EQ(mg->writeKeyAndControlData(1, 0, 7, &e), XP_NO_ERR);
   EXPECT_NE(mg->validEntry(1, 0, 7), nullptr);
}

// The hash depends on the key's bytes and the way, not on the table, and spreads keys over
// the whole way.
TEST_F(MgTableModelTest, HashIsPerWayAndSpreads) {
   std::set<uint32_t> seen[4];
   int sameInAllWays = 0;
   for (uint32_t i = 0; i < 2000; ++i) {
      xpAaclMgTableEntryKey key;
      key.bytes[10] = static_cast<uint8_t>(i);
      key.bytes[11] = static_cast<uint8_t>(i >> 8);
      uint32_t h[4];
      for (uint32_t way = 0; way < 4; ++way) {
         ASSERT_EQ(mg->hashIndexInWay(1, 0, way, &key, h[way]), XP_NO_ERR);
         ASSERT_LT(h[way], 8192u);
         uint32_t again = 0;
         ASSERT_EQ(mg->hashIndexInWay(1, 4, way, &key, again), XP_NO_ERR);
         EXPECT_EQ(again, h[way]);
         seen[way].insert(h[way]);
      }
      sameInAllWays += h[0] == h[1] && h[1] == h[2];
   }
   EXPECT_EQ(sameInAllWays, 0);
   for (const auto& s : seen)
      EXPECT_GT(s.size(), 1700u); // 2000 keys in 8192 slots: about 1780 distinct expected
   xpAaclMgTableEntryKey key;
   uint32_t h = 0;
   EXPECT_EQ(mg->hashIndexInWay(1, 0, 4, &key, h), XP_ERR_INVALID_ARG);
}

TEST_F(MgTableModelTest, CountersClearOnRead) {
   uint64_t pkts = 9, bytes = 9;
   EXPECT_EQ(acm->getCounterValue(1, XP_ACM_AACL_COUNTER, 4095, &pkts, &bytes), XP_NO_ERR);
   EXPECT_EQ(pkts, 0u);
   ASSERT_EQ(acm->countPackets(1, 4095, 3, 300), XP_NO_ERR);
   ASSERT_EQ(acm->countPackets(1, 4095, 2, 200), XP_NO_ERR);
   EXPECT_EQ(acm->peekPackets(1, 4095), 5u);
   EXPECT_EQ(acm->getCounterValue(1, XP_ACM_AACL_COUNTER, 4095, &pkts, &bytes, -1), XP_NO_ERR);
   EXPECT_EQ(pkts, 5u);
   EXPECT_EQ(bytes, 500u);
   EXPECT_EQ(acm->getCounterValue(1, XP_ACM_AACL_COUNTER, 4095, &pkts, &bytes), XP_NO_ERR);
   EXPECT_EQ(pkts, 0u);
   EXPECT_EQ(acm->getCounterValue(1, XP_ACM_AACL_COUNTER, 4096, &pkts, &bytes),
             XP_ERR_INVALID_INDEX);
   EXPECT_EQ(acm->getCounterValue(1, xpAcmClient_e(3), 1, &pkts, &bytes), XP_ERR_NOT_SUPPORTED);
   EXPECT_EQ(acm->getCounterValue(2, XP_ACM_AACL_COUNTER, 1, &pkts, &bytes),
             XP_ERR_DEVICE_NOT_ADDED);
   EXPECT_EQ(acm->calls("getCounterValue"), 6u);
}

} // namespace

namespace {

// The places a reader computes for many ways at once are those hashIndexInWay gives one way at
// a time, whatever the first way and the count; an entry's valid bit follows writes and
// removals.
TEST_F(MgTableModelTest, PlacesOfManyWaysAgreeWithTheHashOfEachWay) {
   xpDeviceProfile wide;
   wide.mgTableWays = 11;
   wide.mgTableEntries = 512;
   ASSERT_EQ(xpDeviceMgr::instance()->addDevice(2, wide), XP_NO_ERR);
   for (uint8_t b = 0; b < 50; ++b) {
      const xpAaclMgTableEntryKey key = entryWith(b, 0).key;
      for (uint32_t first = 0; first < 11; first += 3) {
         uint32_t places[11] = {};
         const uint32_t count = std::min(11u - first, 1u + b % 8);
         mg->wayIndexesOf(2, key, first, count, places);
         for (uint32_t i = 0; i < count; ++i) {
            uint32_t hash = 0;
            ASSERT_EQ(mg->hashIndexInWay(2, 0, first + i, &key, hash), XP_NO_ERR);
            EXPECT_EQ(places[i], (first + i) * 512 + hash);
         }
      }
   }
   const xpAaclMgTableEntry e = entryWith(3, 9);
   EXPECT_EQ(mg->validEntry(2, 4, 5000), nullptr);
   ASSERT_EQ(mg->writeKeyAndControlData(2, 4, 5000, &e), XP_NO_ERR);
   ASSERT_NE(mg->validEntry(2, 4, 5000), nullptr);
   EXPECT_EQ(*mg->validEntry(2, 4, 5000), e);
   EXPECT_EQ(mg->validEntry(2, 4, 5001), nullptr);
   ASSERT_EQ(mg->removeEntry(2, 4, 5000), XP_NO_ERR);
   EXPECT_EQ(mg->validEntry(2, 4, 5000), nullptr);
}

} // namespace
