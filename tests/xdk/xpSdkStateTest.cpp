#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpChipSnapshot.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpMgksMgr.h"
#include "xdk/xpSdk.h"
#include "xdk/xpSdkInit.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

aaclL4PortMgr* l4Src() {
   return xpAclPl::instance()->getMgr<aaclL4PortMgr>(
       xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(aaclL4PortMgr::kSrcInstance));
}
xpMgksMgr* mgks() {
   return xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
}
xpIpXformMgr* xformSrc() {
   return xpAclPl::instance()->getMgr<xpIpXformMgr>(
       xpPrimitiveMgrBase<xpIpXformMgr>::idAt(xpIpXformMgr::kSrcInstance));
}
xpAaclMgTableMgr* mg() {
   return xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
}

xpDeviceProfile smallProfile() {
   xpDeviceProfile p;
   p.l4PortEntries = 128;
   p.mgksTableEntries = 4; // one place per way: where a key sits is its arrival order
   p.ipXformEntries = 8;
   p.mgTableEntries = 16;
   return p;
}

class SdkStateTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
   }
   void TearDown() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(stderr);
   }
};

// The model set aside comes back whole: the same manager objects (so kept pointers are good
// again), its devices, tables, counts, pending injected statuses and log; in between a fresh
// model runs on its own. Each move makes cached manager pointers look again.
TEST_F(SdkStateTest, DetachedModelComesBackWholeAndAFreshOneRunsMeanwhile) {
   ASSERT_EQ(xpDeviceMgr::instance()->addDevice(2, smallProfile()), XP_NO_ERR);
   aaclL4PortMgr* live = l4Src();
   aaclL4PortEntry e;
   e.setXformedL4Port(7);
   ASSERT_EQ(live->writeEntry(2, 80, &e), XP_NO_ERR);
   live->injectStatus("readEntry", XP_ERR_INVALID_ARG);
   XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_INFO, "before\n");
   const unsigned generation = xpSdkGeneration();

   xpSdkState state = xpSdkDetach();
   EXPECT_TRUE(state);
   EXPECT_GT(xpSdkGeneration(), generation);
   EXPECT_NE(l4Src(), nullptr);
   EXPECT_NE(l4Src(), live);
   EXPECT_TRUE(xpDeviceMgr::instance()->devices().empty());
   EXPECT_TRUE(xpLogMgr::instance()->messages().empty());
   // The fresh model takes the same device with another profile, and its own entries.
   ASSERT_EQ(xpDeviceMgr::instance()->addDevice(2), XP_NO_ERR);
   aaclL4PortEntry other;
   other.setXformedL4Port(9);
   ASSERT_EQ(l4Src()->writeEntry(2, 80, &other), XP_NO_ERR);
   ASSERT_EQ(l4Src()->writeEntry(2, 1000, &other), XP_NO_ERR);
   const unsigned inBetween = xpSdkGeneration();

   xpSdkAttach(std::move(state));
   EXPECT_GT(xpSdkGeneration(), inBetween);
   EXPECT_EQ(l4Src(), live);
   EXPECT_EQ(*xpDeviceMgr::instance()->profile(2), smallProfile());
   EXPECT_EQ(live->entryAt(2, 80)->getXformedL4Port(), 7);
   EXPECT_EQ(live->entryAt(2, 1000), nullptr); // the small table has 128 entries
   EXPECT_EQ(live->calls("writeEntry"), 1u);
   aaclL4PortEntry read;
   EXPECT_EQ(live->readEntry(2, 80, &read), XP_ERR_INVALID_ARG);
   ASSERT_EQ(xpLogMgr::instance()->messages().size(), 1u);
   EXPECT_EQ(xpLogMgr::instance()->messages()[0].text, "before\n");
   // Removing the device after the return reaches the managers that hold it.
   EXPECT_EQ(xpDeviceMgr::instance()->removeDevice(2), XP_NO_ERR);
   EXPECT_EQ(live->entryAt(2, 80), nullptr);
}

// Two models built in turn, snapshotted each; `build` fills the model in place.
std::pair<xpChipSnapshot, xpChipSnapshot> twoModels(const std::function<void()>& live,
                                                    const std::function<void()>& cold) {
   xpSdkInit();
   EXPECT_EQ(xpDeviceMgr::instance()->addDevice(2, smallProfile()), XP_NO_ERR);
   live();
   xpChipSnapshot a = xpChipSnapshot::take();
   xpSdkInit();
   EXPECT_EQ(xpDeviceMgr::instance()->addDevice(2, smallProfile()), XP_NO_ERR);
   cold();
   return {std::move(a), xpChipSnapshot::take()};
}

xpMgksEntry mgksEntry(uint8_t index, uint8_t result) {
   xpMgksEntry e;
   e.bytes[0] = index;
   e.bytes[4] = result;
   return e;
}

void addMgks(uint8_t index, uint8_t result) {
   uint32_t at = 0, moved = 0;
   const xpMgksEntry e = mgksEntry(index, result);
   ASSERT_EQ(mgks()->addEntry(2, 0, &e, at, moved), XP_NO_ERR);
}

void writeXform(uint32_t index, uint8_t lastByte, uint32_t label) {
   xpIpXformEntry e;
   e.ipType = xpIpXformEntry::kIpv4Type;
   e.prefixLen = 32;
   e.ipAddr[0] = 10u | uint32_t{lastByte} << 24;
   e.xformedIp = label;
   ASSERT_EQ(xformSrc()->writeEntry(2, index, &e), XP_NO_ERR);
}

void writeMg(uint32_t index, uint16_t word0) {
   xpAaclMgTableEntry e;
   e.key.bytes[0] = 0x42;
   e.data.word[0] = word0;
   e.data.word[1] = 100;
   ASSERT_EQ(mg()->writeKeyAndControlData(2, 3, index, &e), XP_NO_ERR);
}

// Where history put an entry is no difference: the index of a hashed key, the index the driver
// allocated a transform entry at, the counter of a rule. What it holds is.
TEST_F(SdkStateTest, PlacementByHistoryIsNoDifferenceContentIs) {
   auto [live, cold] = twoModels(
       [] {
          addMgks(1, 0x10);
          addMgks(2, 0x20);
          writeXform(0, 1, 5);
          writeXform(1, 2, 6);
          writeMg(7, 1 | 12 << 3);
       },
       [] {
          addMgks(2, 0x20);
          addMgks(1, 0x10);
          writeXform(0, 2, 6);
          writeXform(3, 1, 5);
          writeMg(7, 1 | 30 << 3);
       });
   xpChipComparison same = xpCompareChips(live, cold);
   EXPECT_TRUE(same.differences.empty());
   EXPECT_EQ(same.movedOnly, 5u); // two keys, two transform entries, one counter

   std::tie(live, cold) = twoModels(
       [] {
          addMgks(1, 0x10);
          writeXform(0, 1, 5);
          writeXform(1, 1, 5); // the same entry twice: one is more than the cold start has
          writeMg(7, 1 | 12 << 3);
          aaclL4PortEntry e;
          e.setXformedL4Port(4);
          ASSERT_EQ(l4Src()->writeEntry(2, 22, &e), XP_NO_ERR);
       },
       [] {
          addMgks(1, 0x11);
          writeXform(0, 1, 5);
          writeMg(7, 1); // no counter at all
       });
   std::vector<std::string> texts;
   for (const auto& d : xpCompareChips(live, cold).differences)
      texts.push_back(d.text());
   EXPECT_EQ(texts, (std::vector<std::string>{
                        "device 2 aaclL4PortMgr.src index 22: live label 4, cold empty",
                        "device 2 xpIpXformMgr.src index 1: live v4 10.0.0.1/32 label 5, "
                        "cold empty",
                        "device 2 xpAaclMgTableMgr.3 index 7 (way 0 hash 7): live key "
                        "420000000000000000000000000000000000 permit log off counter 12 prio "
                        "100, cold key 420000000000000000000000000000000000 permit log off "
                        "counter none prio 100",
                        "device 2 xpMgksMgr.0 match 01000000: live result 10000000 (index 0), "
                        "cold result 11000000 (index 0)"}));
}

TEST_F(SdkStateTest, ADeviceOnOneSideOnlyIsOneDifference) {
   xpSdkInit();
   ASSERT_EQ(xpDeviceMgr::instance()->addDevice(5, smallProfile()), XP_NO_ERR);
   const xpChipSnapshot live = xpChipSnapshot::take();
   xpSdkInit();
   const auto cmp = xpCompareChips(live, xpChipSnapshot::take());
   ASSERT_EQ(cmp.differences.size(), 1u);
   EXPECT_EQ(cmp.differences[0].text(), "device 5: live present, cold absent");
}

} // namespace
