#include "xdk/xpSdk.h"
#include "xpTestTableMgr.h"

#include <gtest/gtest.h>

namespace {

struct xpOneMgr {};
struct xpOtherMgr {};

TEST(xpPrimitiveMgrIds, IdAtExtendsWithZerosAndHandsOutFreshIds) {
   using Ids = xpPrimitiveMgrBase<xpOneMgr>;
   Ids::myId.clear();
   uint32_t before = xpPrimitiveMgr::getNewPlMgrId();
   uint32_t third = Ids::idAt(2);
   EXPECT_EQ(Ids::myId, (std::vector<uint32_t>{0, 0, before + 1}));
   EXPECT_EQ(Ids::idAt(2), third);
   uint32_t first = Ids::idAt(0);
   EXPECT_EQ(Ids::myId, (std::vector<uint32_t>{first, 0, third}));
   EXPECT_EQ(first, third + 1);
   // Each manager class has its own table.
   EXPECT_TRUE(xpPrimitiveMgrBase<xpOtherMgr>::myId.empty());
}

class xpPrimitiveMgrOps : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkReset();
      xpLogMgr::instance()->setSink(nullptr);
      ASSERT_EQ(mgr_.addDevice(0, {}), XP_NO_ERR);
   }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }

   xpTestTableMgr mgr_{4};
   const xpTestEntry entry_{7, 70};
   xpTestEntry out_;
};

TEST_F(xpPrimitiveMgrOps, CountsEveryCallByOperationIncludingRejectedOnes) {
   EXPECT_EQ(mgr_.writeEntry(0, 1, &entry_), XP_NO_ERR);
   EXPECT_EQ(mgr_.writeEntry(0, 99, &entry_), XP_ERR_INVALID_INDEX);
   EXPECT_EQ(mgr_.readEntry(5, 1, &out_), XP_ERR_DEVICE_NOT_ADDED);
   EXPECT_EQ(mgr_.calls("writeEntry"), 2u);
   EXPECT_EQ(mgr_.calls("readEntry"), 1u);
   EXPECT_EQ(mgr_.calls("clearEntry"), 0u);
   mgr_.resetCounters();
   EXPECT_EQ(mgr_.calls("writeEntry"), 0u);
}

TEST_F(xpPrimitiveMgrOps, ListsEveryOperationItCountedInFirstSeenOrder) {
   using Counts = std::vector<std::pair<std::string, uint64_t>>;
   // The table's own operations are known from construction on, uncalled.
   EXPECT_EQ(mgr_.opCounts(),
             (Counts{{"getNumOfEntry", 0}, {"readEntry", 0}, {"writeEntry", 0}}));
   mgr_.clearEntry(0, 1);
   mgr_.clearEntry(0, 2);
   mgr_.injectStatus("removeEntry", XP_NO_ERR); // known by name, never called
   mgr_.writeEntry(0, 1, &entry_);
   const std::string clearName = "clearEntry"; // another string with the same name
   EXPECT_EQ(mgr_.calls(clearName), 2u);
   EXPECT_EQ(mgr_.opCounts(), (Counts{{"getNumOfEntry", 0},
                                      {"readEntry", 0},
                                      {"writeEntry", 1},
                                      {"clearEntry", 2},
                                      {"removeEntry", 0}}));
   EXPECT_EQ(mgr_.tableName(), "");
   mgr_.tableNameIs("test.table");
   EXPECT_EQ(mgr_.tableName(), "test.table");
}

TEST_F(xpPrimitiveMgrOps, InjectedStatusesRefuseTheNextCallsInOrder) {
   mgr_.injectStatus("writeEntry", XP_ERR_TABLE_FULL);
   mgr_.injectStatus("writeEntry", XP_ERR_KEY_EXISTS);
   EXPECT_EQ(mgr_.readEntry(0, 1, &out_), XP_NO_ERR) << "other operations are not affected";
   EXPECT_EQ(mgr_.writeEntry(0, 1, &entry_), XP_ERR_TABLE_FULL);
   EXPECT_EQ(mgr_.writeEntry(0, 1, &entry_), XP_ERR_KEY_EXISTS);
   ASSERT_EQ(mgr_.readEntry(0, 1, &out_), XP_NO_ERR);
   EXPECT_EQ(out_, xpTestEntry{}) << "a refused write must leave the table as it was";
   EXPECT_EQ(mgr_.writeEntry(0, 1, &entry_), XP_NO_ERR);
   ASSERT_EQ(mgr_.readEntry(0, 1, &out_), XP_NO_ERR);
   EXPECT_EQ(out_, entry_);
   EXPECT_EQ(mgr_.calls("writeEntry"), 3u);
   EXPECT_EQ(mgr_.clearEntry(0, 1), XP_NO_ERR);
   EXPECT_EQ(mgr_.clearEntry(0, 1), XP_ERR_NO_CHANGE);
}

TEST_F(xpPrimitiveMgrOps, InjectedSuccessDoesNothingEvenOnABadCall) {
   mgr_.injectStatus("getNumOfEntry", XP_NO_ERR);
   mgr_.injectStatus("writeEntry", XP_NO_ERR);
   uint32_t n = 1234;
   EXPECT_EQ(mgr_.getNumOfEntry(0, n), XP_NO_ERR);
   EXPECT_EQ(n, 1234u);
   EXPECT_EQ(mgr_.writeEntry(200, 0, nullptr), XP_NO_ERR);
   EXPECT_TRUE(xpLogMgr::instance()->messages().empty());
}

TEST_F(xpPrimitiveMgrOps, InjectionsBelongToOneManagerAndCanBeDropped) {
   xpTestTableMgr other{4};
   ASSERT_EQ(other.addDevice(0, {}), XP_NO_ERR);
   mgr_.injectStatus("readEntry", static_cast<XP_STATUS>(77));
   EXPECT_EQ(other.readEntry(0, 0, &out_), XP_NO_ERR);
   EXPECT_EQ(mgr_.readEntry(0, 0, &out_), 77);
   mgr_.injectStatus("readEntry", XP_ERR_TABLE_FULL);
   mgr_.clearInjectedStatus();
   EXPECT_EQ(mgr_.readEntry(0, 0, &out_), XP_NO_ERR);
}

} // namespace
