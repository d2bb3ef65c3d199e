#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpSdk.h"
#include "xpTestTableMgr.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

class xpDeviceTableTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkReset();
      xpLogMgr::instance()->setSink(nullptr);
      ASSERT_EQ(mgr_.addDevice(0, {}), XP_NO_ERR);
      ASSERT_EQ(mgr_.addDevice(63, {}), XP_NO_ERR);
   }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }

   // The one error logged since the last call.
   std::string loggedError() {
      auto kept = xpLogMgr::instance()->messages();
      xpLogMgr::instance()->clear();
      if (kept.size() != 1 || kept[0].level != XP_LOG_ERROR) return "not one error";
      return kept[0].text;
   }

   xpTestTableMgr mgr_{3};
   xpTestEntry entry_{4, 4};
};

TEST_F(xpDeviceTableTest, BadDeviceIsLoggedAndLeavesNoCount) {
   uint32_t n = 77;
   EXPECT_EQ(mgr_.getNumOfEntry(64, n), XP_ERR_INVALID_DEV_ID);
   EXPECT_EQ(n, 0u);
   EXPECT_EQ(loggedError(), "Invalid device Id 64 specified\n");
   n = 77;
   EXPECT_EQ(mgr_.getNumOfEntry(1, n), XP_ERR_DEVICE_NOT_ADDED);
   EXPECT_EQ(n, 0u);
   EXPECT_EQ(loggedError(), "The device 1 is not added in primitive manager\n");
   EXPECT_EQ(mgr_.readEntry(255, 0, &entry_), XP_ERR_INVALID_DEV_ID);
   EXPECT_EQ(loggedError(), "Invalid device Id 255 specified\n");
   EXPECT_EQ(mgr_.writeEntry(62, 0, &entry_), XP_ERR_DEVICE_NOT_ADDED);
   EXPECT_EQ(loggedError(), "The device 62 is not added in primitive manager\n");
}

TEST_F(xpDeviceTableTest, IndexAndPointerAreChecked) {
   EXPECT_EQ(mgr_.writeEntry(0, 3, &entry_), XP_ERR_INVALID_INDEX);
   EXPECT_EQ(loggedError(), "Invalid index 3 on device 0: the table has 3 entries\n");
   EXPECT_EQ(mgr_.readEntry(63, UINT32_MAX, &entry_), XP_ERR_INVALID_INDEX);
   EXPECT_EQ(mgr_.readEntry(0, 0, nullptr), XP_ERR_NULL_POINTER);
   EXPECT_EQ(mgr_.writeEntry(0, 0, nullptr), XP_ERR_NULL_POINTER);
   EXPECT_EQ(entry_, (xpTestEntry{4, 4})) << "a rejected read must not touch the output";

   xpTestTableMgr empty{0};
   ASSERT_EQ(empty.addDevice(2, {}), XP_NO_ERR);
   EXPECT_EQ(empty.readEntry(2, 0, &entry_), XP_ERR_INVALID_INDEX);
}

TEST_F(xpDeviceTableTest, EachDeviceHasItsOwnTableFromAddToRemove) {
   uint32_t n = 0;
   ASSERT_EQ(mgr_.getNumOfEntry(63, n), XP_NO_ERR);
   EXPECT_EQ(n, 3u);
   xpTestEntry out{9, 9};
   ASSERT_EQ(mgr_.writeEntry(0, 2, &entry_), XP_NO_ERR);
   ASSERT_EQ(mgr_.readEntry(63, 2, &out), XP_NO_ERR);
   EXPECT_EQ(out, xpTestEntry{});
   ASSERT_EQ(mgr_.readEntry(0, 2, &out), XP_NO_ERR);
   EXPECT_EQ(out, entry_);

   EXPECT_EQ(mgr_.addDevice(0, {}), XP_ERR_DEVICE_EXISTS);
   EXPECT_EQ(mgr_.addDevice(64, {}), XP_ERR_INVALID_DEV_ID);
   EXPECT_EQ(mgr_.removeDevice(5), XP_ERR_DEVICE_NOT_ADDED);
   ASSERT_EQ(mgr_.removeDevice(0), XP_NO_ERR);
   EXPECT_EQ(mgr_.readEntry(0, 2, &out), XP_ERR_DEVICE_NOT_ADDED);
   // Added again, the device starts from the reset state.
   ASSERT_EQ(mgr_.addDevice(0, {}), XP_NO_ERR);
   ASSERT_EQ(mgr_.readEntry(0, 2, &out), XP_NO_ERR);
   EXPECT_EQ(out, xpTestEntry{});
}

} // namespace

// The record is the chip's byte layout, whatever the host's byte order.
TEST(aaclL4PortEntryTest, LabelSitsInBytesFiveAndSixLowByteFirst) {
   aaclL4PortEntry entry;
   EXPECT_EQ(entry.bytes(), (std::array<uint8_t, 8>{}));
   entry.setXformedL4Port(0x1234);
   EXPECT_EQ(entry.bytes(), (std::array<uint8_t, 8>{0, 0, 0, 0, 0, 0x34, 0x12, 0}));
   EXPECT_EQ(entry.getXformedL4Port(), 0x1234);
   entry.setXformedL4Port(0xff01);
   EXPECT_EQ(entry.bytes(), (std::array<uint8_t, 8>{0, 0, 0, 0, 0, 0x01, 0xff, 0}));
   EXPECT_EQ(entry.getXformedL4Port(), 0xff01);
}
