#include "xdk/xpAaclMgTableMgr.h"

#include <memory>

#include "xdk/xpAclPl.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   auto mgr = std::make_unique<xpAaclMgTableMgr>();
   mgr->tableNameIs("xpAaclMgTableMgr");
   xpAclPl::instance()->addMgr(xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0), std::move(mgr));
});

} // namespace

XP_STATUS xpAaclMgTableMgr::checkAdded(xpsDevice_t devId) const {
   if (!xpIsValidDevId(devId)) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }
   if (!numOfEntry_[devId]) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
             "The device %d is not added in primitive manager\n", devId);
      return XP_ERR_DEVICE_NOT_ADDED;
   }
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) {
   if (!xpIsValidDevId(devId)) return checkAdded(devId);
   if (numOfEntry_[devId]) return XP_ERR_DEVICE_EXISTS;
   numOfEntry_[devId] = profile.mgTableEntries;
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::removeDevice(xpsDevice_t devId) {
   if (XP_STATUS status = checkAdded(devId)) return status;
   numOfEntry_[devId].reset();
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry) {
   if (auto injected = enterOp("getNumOfEntry")) return *injected;
   numOfEntry = 0;
   if (XP_STATUS status = checkAdded(devId)) return status;
   numOfEntry = *numOfEntry_[devId];
   return XP_NO_ERR;
}
