#include "xdk/xpDeviceMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpSdk.h"
#include "xpTestTableMgr.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

// Refuses one device, to see the model undo a half-done add.
class xpRefusingMgr : public xpPrimitiveMgr {
public:
   explicit xpRefusingMgr(xpsDevice_t refused) : refused_(refused) {}
   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile&) override {
      return devId == refused_ ? XP_ERR_OUT_OF_MEM : XP_NO_ERR;
   }

private:
   xpsDevice_t refused_;
};

class xpDeviceMgrTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkReset();
      xpLogMgr::instance()->setSink(nullptr);
   }
   void TearDown() override {
      xpSdkReset();
      xpLogMgr::instance()->setSink(stderr);
   }

   // One test manager in each layer, the ACM one behind a manager refusing device 4.
   void addTestMgrs() {
      xpPlBase* layers[] = {xpAclPl::instance(), xpAcmPl::instance(), xpIfPl::instance()};
      for (size_t i = 0; i < 3; ++i) {
         auto mgr = std::make_unique<xpTestTableMgr>(2);
         mgrs_[i] = mgr.get();
         ASSERT_EQ(layers[i]->addMgr(1, std::move(mgr)), XP_NO_ERR);
      }
      ASSERT_EQ(xpAcmPl::instance()->addMgr(2, std::make_unique<xpRefusingMgr>(4)), XP_NO_ERR);
   }
   // How many of the test managers hold the device.
   int holding(xpsDevice_t devId) {
      uint32_t n;
      int count = 0;
      for (xpTestTableMgr* mgr : mgrs_)
         count += mgr->getNumOfEntry(devId, n) == XP_NO_ERR;
      return count;
   }

   xpDeviceMgr* devices_ = xpDeviceMgr::instance();
   xpTestTableMgr* mgrs_[3] = {};
};

TEST_F(xpDeviceMgrTest, LayersFindManagersByIdAndType) {
   xpPlBase* acl = xpAclPl::instance();
   ASSERT_NE(acl, static_cast<xpPlBase*>(xpIfPl::instance()));
   uint32_t id = xpTestTableMgr::idAt(0);
   auto owned = std::make_unique<xpTestTableMgr>(2);
   xpTestTableMgr* mgr = owned.get();
   ASSERT_EQ(acl->addMgr(id, std::move(owned)), XP_NO_ERR);
   ASSERT_EQ(acl->addMgr(id + 1, std::make_unique<xpRefusingMgr>(0)), XP_NO_ERR);

   EXPECT_EQ(acl->getPrimitiveMgr(id), mgr);
   EXPECT_EQ(acl->getMgr<xpTestTableMgr>(id), mgr);
   EXPECT_EQ(acl->getMgr<xpTestTableMgr>(id + 1), nullptr) << "wrong type";
   EXPECT_EQ(acl->getPrimitiveMgr(id + 2), nullptr);
   using All = std::vector<std::pair<uint32_t, const xpPrimitiveMgr*>>;
   EXPECT_EQ(acl->mgrs(), (All{{id, mgr}, {id + 1, acl->getPrimitiveMgr(id + 1)}}));
   EXPECT_EQ(xpIfPl::instance()->getPrimitiveMgr(id), nullptr) << "layers are separate";

   EXPECT_EQ(acl->addMgr(id, std::make_unique<xpTestTableMgr>(1)), XP_ERR_ID_IN_USE);
   EXPECT_EQ(acl->getPrimitiveMgr(id), mgr) << "the first manager keeps its id";
   EXPECT_EQ(acl->addMgr(0, std::make_unique<xpTestTableMgr>(1)), XP_ERR_INVALID_ARG);
   EXPECT_EQ(acl->addMgr(id + 2, nullptr), XP_ERR_NULL_POINTER);
   EXPECT_EQ(acl->removeMgr(id), XP_NO_ERR);
   EXPECT_EQ(acl->getPrimitiveMgr(id), nullptr);
   EXPECT_EQ(acl->removeMgr(id), XP_ERR_KEY_NOT_FOUND);
   acl->reset();
   EXPECT_EQ(acl->numOfMgrs(), 0u);
}

TEST_F(xpDeviceMgrTest, DevicesReachEveryManagerOfEveryLayer) {
   addTestMgrs();
   ASSERT_EQ(devices_->addDevice(9), XP_NO_ERR);
   EXPECT_EQ(holding(9), 3);
   ASSERT_EQ(devices_->addDevice(63), XP_NO_ERR);
   EXPECT_EQ(devices_->devices(), (std::vector<xpsDevice_t>{9, 63}));

   // A manager added later learns the devices already there.
   ASSERT_EQ(xpIfPl::instance()->addMgr(5, std::make_unique<xpTestTableMgr>(1)), XP_NO_ERR);
   uint32_t n;
   EXPECT_EQ(xpIfPl::instance()->getMgr<xpTestTableMgr>(5)->getNumOfEntry(63, n), XP_NO_ERR);

   ASSERT_EQ(devices_->removeDevice(9), XP_NO_ERR);
   EXPECT_FALSE(devices_->isAdded(9));
   EXPECT_EQ(devices_->profile(9), nullptr);
   EXPECT_EQ(holding(9), 0);
   devices_->reset();
   EXPECT_TRUE(devices_->devices().empty());
   EXPECT_EQ(holding(63), 0);
}

TEST_F(xpDeviceMgrTest, ARefusedDeviceIsAddedNowhere) {
   addTestMgrs();
   EXPECT_EQ(devices_->addDevice(4), XP_ERR_OUT_OF_MEM);
   EXPECT_FALSE(devices_->isAdded(4));
   EXPECT_EQ(holding(4), 0);
   EXPECT_EQ(devices_->addDevice(3), XP_NO_ERR);
   // Nor does a manager refusing a device already there get in.
   ASSERT_EQ(xpAcmPl::instance()->removeMgr(2), XP_NO_ERR);
   ASSERT_EQ(devices_->addDevice(4), XP_NO_ERR);
   EXPECT_EQ(xpIfPl::instance()->addMgr(2, std::make_unique<xpRefusingMgr>(4)),
             XP_ERR_OUT_OF_MEM);
   EXPECT_EQ(xpIfPl::instance()->getPrimitiveMgr(2), nullptr);
}

TEST_F(xpDeviceMgrTest, DeviceIdsAreChecked) {
   EXPECT_EQ(devices_->addDevice(64), XP_ERR_INVALID_DEV_ID);
   EXPECT_FALSE(devices_->isAdded(64));
   EXPECT_EQ(devices_->removeDevice(3), XP_ERR_DEVICE_NOT_ADDED);
   ASSERT_EQ(devices_->addDevice(3), XP_NO_ERR);
   EXPECT_EQ(devices_->addDevice(3), XP_ERR_DEVICE_EXISTS);
}

} // namespace
