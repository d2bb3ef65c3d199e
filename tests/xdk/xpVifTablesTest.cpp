// The port-VLAN ingress VIF and egress BD-EVIF tables: hashed, fixed in size, counted.
#include <gtest/gtest.h>

#include "xdk/xpDeviceMgr.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xdk/xpSdkInit.h"

namespace {

struct VifTablesTest : ::testing::Test {
   VifTablesTest() {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      xpDeviceProfile p;
      p.portVlanIvifEntries = 8;
      p.egressBdEvifEntries = 8;
      p.numTableCopies = 2;
      xpDeviceMgr::instance()->addDevice(0, p);
      ivif = xpIfPl::instance()->getMgr<xpPortVlanIvifMgr>(
          xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
      evif = xpIfPl::instance()->getMgr<xpEgressBdEvifMgr>(
          xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0));
   }
   ~VifTablesTest() override { xpLogMgr::instance()->setSink(stderr); }
   xpPortVlanIvifMgr* ivif = nullptr;
   xpEgressBdEvifMgr* evif = nullptr;
};

xpPortVlanIvifEntry ivifEntry(uint16_t port, uint16_t vlan, uint8_t id = 0) {
   xpPortVlanIvifEntry e;
   e.key = {port, vlan};
   e.data.routeAclId = id;
   return e;
}

TEST_F(VifTablesTest, EntriesAreFoundWrittenAndRemovedInEveryCopy) {
   ASSERT_TRUE(ivif && evif);
   EXPECT_EQ(ivif->tableName(), "xpPortVlanIvifMgr");
   EXPECT_EQ(evif->tableName(), "xpEgressBdEvifMgr");
   auto e = ivifEntry(5, 10, 3);
   uint32_t index = 0;
   EXPECT_EQ(ivif->lookup(0, &e, index, 0), XP_ERR_KEY_NOT_FOUND);
   xpsHashIndexList list;
   ASSERT_EQ(ivif->addEntry(0, 1, &e, &list), XP_NO_ERR);
   ASSERT_EQ(list.size, 1u);
   for (uint32_t copy : {0u, 1u}) {
      ASSERT_EQ(ivif->lookup(0, &e, index, copy), XP_NO_ERR);
      EXPECT_EQ(index, list.index[0]);
   }
   EXPECT_EQ(ivif->lookup(0, &e, index, 2), XP_ERR_INVALID_ARG) << "two copies only";
   // A write needs the entry's own key at the index.
   e.data.routeAclId = 4;
   EXPECT_EQ(ivif->writeEntry(0, 0, index, &e), XP_NO_ERR);
   xpPortVlanIvifEntry read;
   ASSERT_EQ(ivif->readEntry(0, 0, index, &read), XP_NO_ERR);
   EXPECT_EQ(read.data.routeAclId, 4);
   ASSERT_EQ(ivif->readEntry(0, 1, index, &read), XP_NO_ERR);
   EXPECT_EQ(read.data.routeAclId, 3) << "a write goes to the copy it names";
   auto other = ivifEntry(6, 10);
   EXPECT_EQ(ivif->writeEntry(0, 0, index, &other), XP_ERR_INVALID_INDEX);
   EXPECT_EQ(ivif->removeEntry(0, index), XP_NO_ERR);
   EXPECT_EQ(ivif->removeEntry(0, index), XP_ERR_NO_CHANGE);
   EXPECT_EQ(ivif->readEntry(0, 1, index, &read), XP_ERR_KEY_NOT_FOUND);
   EXPECT_EQ(ivif->calls("addEntry"), 1u);
   EXPECT_EQ(ivif->calls("lookup"), 4u);
}

TEST_F(VifTablesTest, AKeyWithoutAFreePlaceMovesAnEntryOrFindsTheTableFull) {
   const auto& table = evif->tables(0)[0];
   xpEgressBdEvifEntry e;
   xpsHashIndexList list;
   bool rehashed = false;
   bool full = false;
   for (uint16_t vif = 0; vif < 2000 && !(rehashed && full); ++vif) {
      e.key = {vif, 1};
      bool placeFree = false;
      for (uint32_t way = 0; way < table.ways(); ++way)
         placeFree = placeFree || !table.at(table.place(e.key, way));
      const uint32_t before = table.count();
      const XP_STATUS status = evif->addEntry(0, &e, &list);
      if (placeFree) {
         ASSERT_EQ(status, XP_NO_ERR);
         ASSERT_EQ(list.size, 1u);
      } else if (status == XP_NO_ERR) {
         // An occupant moved to its own free place: both indexes are handed back.
         ASSERT_EQ(list.size, 2u);
         const auto* moved = table.at(list.index[1]);
         ASSERT_TRUE(moved);
         uint32_t index = 0;
         EXPECT_EQ(evif->lookup(0, &e, index), XP_NO_ERR);
         EXPECT_EQ(index, list.index[0]);
         rehashed = true;
      } else {
         EXPECT_EQ(status, XP_ERR_TABLE_FULL);
         EXPECT_EQ(table.count(), before) << "a refused add changes nothing";
         full = true;
      }
      // Keep the table near full: make room again now and then.
      if (table.count() == table.size()) evif->removeEntry(0, list.index[0]);
   }
   EXPECT_TRUE(rehashed);
   EXPECT_TRUE(full);
   uint32_t n = 0;
   ASSERT_EQ(evif->getNumOfEntry(0, n), XP_NO_ERR);
   EXPECT_EQ(n, 8u);
   EXPECT_EQ(evif->addEntry(1, &e, &list), XP_ERR_DEVICE_NOT_ADDED);
}

TEST_F(VifTablesTest, PortConfigurationHasAnEntryForEveryPortNumber) {
   auto* port = xpIfPl::instance()->getMgr<xpPortConfigMgr>(
       xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0));
   xpPortConfigEntry e{9, 3};
   EXPECT_EQ(port->writeEntry(0, 65535, &e), XP_NO_ERR);
   EXPECT_EQ(*port->entryAt(0, 65535), e);
   EXPECT_EQ(port->writeEntry(0, 65536, &e), XP_ERR_INVALID_INDEX);
}

} // namespace
