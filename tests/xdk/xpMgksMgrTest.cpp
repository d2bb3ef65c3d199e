#include "xdk/xpMgksMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"

#include <gtest/gtest.h>

#include <map>

namespace {

class MgksModelTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      xpDeviceProfile small;
      small.mgksTableEntries = 16;
      ASSERT_EQ(xpDeviceMgr::instance()->addDevice(2, small), XP_NO_ERR);
      mgks = xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
      ASSERT_TRUE(mgks);
   }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }

   static xpMgksEntry entry(uint8_t aclId, uint8_t result) {
      xpMgksEntry e;
      e.bytes[0] = uint8_t(aclId << 2);
      e.bytes[1] = uint8_t(aclId >> 6 | 1 << 2);
      e.bytes[4] = result;
      return e;
   }

   xpMgksMgr* mgks = nullptr;
};

TEST_F(MgksModelTest, EntriesLiveByMatchAndReadBack) {
   uint32_t n = 0;
   ASSERT_EQ(mgks->getNumOfEntry(2, n), XP_NO_ERR);
   EXPECT_EQ(n, 16u);
   uint32_t index = 0, rehash = 0;
   const xpMgksEntry a = entry(5, 1);
   ASSERT_EQ(mgks->addEntry(2, 3, &a, index, rehash), XP_NO_ERR);
   EXPECT_EQ(index, rehash);
   xpMgksEntry read;
   ASSERT_EQ(mgks->readEntry(2, 3, index, &read), XP_NO_ERR);
   EXPECT_EQ(read, a);
   // The same match with another result is written over in place; the same again is no write.
   const xpMgksEntry b = entry(5, 2);
   uint32_t again = 0;
   EXPECT_EQ(mgks->addEntry(2, 3, &b, again, rehash), XP_NO_ERR);
   EXPECT_EQ(again, index);
   EXPECT_EQ(mgks->addEntry(2, 3, &b, again, rehash), XP_ERR_KEY_EXISTS);
   // Tables are separate.
   uint32_t found = 0;
   EXPECT_EQ(mgks->lookupEntry(2, 4, &b, found), XP_ERR_KEY_NOT_FOUND);
   EXPECT_EQ(mgks->lookupEntry(2, 3, &b, found), XP_NO_ERR);
   EXPECT_EQ(found, index);
   EXPECT_EQ(mgks->removeEntry(2, 3, index), XP_NO_ERR);
   EXPECT_EQ(mgks->removeEntry(2, 3, index), XP_ERR_NO_CHANGE);
   ASSERT_EQ(mgks->readEntry(2, 3, index, &read), XP_NO_ERR);
   EXPECT_EQ(read, xpMgksEntry{});
   EXPECT_EQ(mgks->calls("addEntry"), 3u);
   EXPECT_EQ(mgks->calls("removeEntry"), 2u);
   EXPECT_EQ(mgks->tableName(), "xpMgksMgr");
}

TEST_F(MgksModelTest, TableFillsUpAndBadArgumentsAreRefused) {
   std::map<uint32_t, xpMgksEntry> held;
   XP_STATUS status = XP_NO_ERR;
   for (int id = 0; id < 64 && status == XP_NO_ERR; ++id) {
      const xpMgksEntry e = entry(uint8_t(id), 3);
      uint32_t index = 0, rehash = 0;
      status = mgks->addEntry(2, 0, &e, index, rehash);
      if (status != XP_NO_ERR) break;
      if (index != rehash) held[rehash] = held[index];
      held[index] = e;
   }
   EXPECT_EQ(status, XP_ERR_TABLE_FULL);
   // Every placed entry reads back where the model said it went, moves included.
   for (const auto& [index, e] : held) {
      const xpMgksEntry* v = mgks->validEntry(2, 0, index);
      ASSERT_TRUE(v);
      EXPECT_EQ(*v, e);
   }
   uint32_t index = 0, rehash = 0;
   const xpMgksEntry e = entry(1, 1);
   EXPECT_EQ(mgks->addEntry(2, 7, &e, index, rehash), XP_ERR_INVALID_ARG);
   EXPECT_EQ(mgks->addEntry(3, 0, &e, index, rehash), XP_ERR_DEVICE_NOT_ADDED);
   EXPECT_EQ(mgks->removeEntry(2, 0, 16), XP_ERR_INVALID_INDEX);
   mgks->injectStatus("addEntry", XP_ERR_OUT_OF_MEM);
   EXPECT_EQ(mgks->addEntry(2, 1, &e, index, rehash), XP_ERR_OUT_OF_MEM);
   EXPECT_EQ(mgks->validEntry(2, 1, index), nullptr);
}

} // namespace
