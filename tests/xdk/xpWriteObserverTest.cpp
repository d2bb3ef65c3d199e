#include "xdk/xpWriteObserver.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpMgksMgr.h"
#include "xdk/xpSdk.h"
#include "xdk/xpSdkInit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Records each write with what the table holds at that moment.
struct Recorder : xpWriteObserver {
   std::vector<std::string> seen;
   xpAaclMgTableMgr* mg = nullptr;
   void written(const xpWriteEvent& e) override {
      std::string s = std::string(e.table) + " " + std::string(e.op) + " " +
                      std::to_string(e.devId) + "/" + std::to_string(e.subTable) + "/" +
                      std::to_string(e.index);
      if (mg && e.table == "xpAaclMgTableMgr") {
         s += mg->validEntry(e.devId, e.subTable, e.index) ? " valid" : " empty";
         // A write made by the watcher is not reported back to it.
         mg->removeEntry(e.devId, 5, 1);
      }
      seen.push_back(s);
   }
};

class WriteObserverTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      ASSERT_EQ(xpDeviceMgr::instance()->addDevice(1, {}), XP_NO_ERR);
      mg = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
          xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
      ASSERT_TRUE(mg);
      rec.mg = mg;
   }
   void TearDown() override {
      xpWriteObserverNow = nullptr;
      xpLogMgr::instance()->setSink(stderr);
   }
   xpAaclMgTableMgr* mg = nullptr;
   Recorder rec;
};

TEST_F(WriteObserverTest, EveryChangeIsSeenOnceMadeAndNothingElse) {
   xpAaclMgTableEntry e;
   e.key.bytes[0] = 9;
   xpWriteObserverNow = &rec;
   EXPECT_EQ(mg->writeKeyAndControlData(1, 2, 77, &e), XP_NO_ERR);
   xpAaclMgTableEntryKey key;
   xpAaclMgTableEntryData data;
   EXPECT_EQ(mg->readEntry(1, 2, 77, &key, &data, 0), XP_NO_ERR); // a read
   EXPECT_EQ(mg->removeEntry(1, 2, 77), XP_NO_ERR);
   EXPECT_EQ(mg->removeEntry(1, 2, 77), XP_ERR_NO_CHANGE);                 // changed nothing
   EXPECT_EQ(mg->writeKeyAndControlData(1, 9, 0, &e), XP_ERR_INVALID_ARG); // refused
   mg->injectStatus("removeEntry", XP_NO_ERR);
   EXPECT_EQ(mg->removeEntry(1, 2, 77), XP_NO_ERR); // injected: no effect

   auto* xform = xpAclPl::instance()->getMgr<xpIpXformMgr>(
       xpPrimitiveMgrBase<xpIpXformMgr>::idAt(xpIpXformMgr::kDstInstance));
   xpIpXformEntry x;
   EXPECT_EQ(xform->writeEntry(1, 3, &x), XP_NO_ERR);
   auto* mgks = xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
   xpMgksEntry k;
   uint32_t at = 0, rehash = 0;
   ASSERT_EQ(mgks->addEntry(1, 4, &k, at, rehash), XP_NO_ERR);
   EXPECT_EQ(xpDeviceMgr::instance()->removeDevice(1), XP_NO_ERR);

   EXPECT_EQ(rec.seen, (std::vector<std::string>{
                           "xpAaclMgTableMgr writeKeyAndControlData 1/2/77 valid",
                           "xpAaclMgTableMgr removeEntry 1/2/77 empty",
                           "xpIpXformMgr.dst writeEntry 1/0/3",
                           "xpMgksMgr addEntry 1/4/" + std::to_string(at),
                           "device removeDevice 1/0/1",
                       }));
   EXPECT_EQ(xpWriteObserverNow, &rec); // back in place after each report
}

TEST_F(WriteObserverTest, AModelSetAsideTakesItsWatcherAlong) {
   xpWriteObserverNow = &rec;
   xpSdkState live = xpSdkDetach();
   EXPECT_EQ(xpWriteObserverNow, nullptr);
   ASSERT_EQ(xpDeviceMgr::instance()->addDevice(1, {}), XP_NO_ERR); // the other model's
   xpSdkAttach(std::move(live));
   EXPECT_EQ(xpWriteObserverNow, &rec);
   EXPECT_TRUE(rec.seen.empty());
}

} // namespace
