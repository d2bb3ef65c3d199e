#include "xdk/xpDeviceMgr.h"

#include "xdk/xpLogMgr.h"
#include "xdk/xpPlatformLayers.h"
#include "xdk/xpWriteObserver.h"

namespace {

XP_STATUS invalidDevice(xpsDevice_t devId) {
   XP_LOG(XP_LOG_MODULE_DEVICE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
   return XP_ERR_INVALID_DEV_ID;
}

} // namespace

xpDeviceMgr* xpDeviceMgr::instance() {
   static xpDeviceMgr mgr;
   return &mgr;
}

XP_STATUS xpDeviceMgr::addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) {
   if (!xpIsValidDevId(devId)) return invalidDevice(devId);
   if (profiles_[devId]) {
      XP_LOG(XP_LOG_MODULE_DEVICE, XP_LOG_ERROR, "The device %d is already added\n", devId);
      return XP_ERR_DEVICE_EXISTS;
   }
   auto layers = xpPlatformLayers();
   for (auto it = layers.begin(); it != layers.end(); ++it) {
      if (XP_STATUS status = (*it)->addDevice(devId, profile)) {
         for (auto done = layers.begin(); done != it; ++done)
            (*done)->removeDevice(devId);
         XP_LOG(XP_LOG_MODULE_DEVICE, XP_LOG_ERROR, "The %s layer refused device %d: %s\n",
                (*it)->name(), devId, xpStatusName(status));
         return status;
      }
   }
   profiles_[devId] = profile;
   if (xpWriteObserverNow) xpWriteNotify(xpWriteEvent{"device", "addDevice", devId, 0, devId});
   return XP_NO_ERR;
}

XP_STATUS xpDeviceMgr::removeDevice(xpsDevice_t devId) {
   if (!xpIsValidDevId(devId)) return invalidDevice(devId);
   if (!profiles_[devId]) {
      XP_LOG(XP_LOG_MODULE_DEVICE, XP_LOG_ERROR, "The device %d is not added\n", devId);
      return XP_ERR_DEVICE_NOT_ADDED;
   }
   for (xpPlBase* layer : xpPlatformLayers())
      layer->removeDevice(devId);
   profiles_[devId].reset();
   if (xpWriteObserverNow)
      xpWriteNotify(xpWriteEvent{"device", "removeDevice", devId, 0, devId});
   return XP_NO_ERR;
}

bool xpDeviceMgr::isAdded(xpsDevice_t devId) const {
   return xpIsValidDevId(devId) && profiles_[devId].has_value();
}

const xpDeviceProfile* xpDeviceMgr::profile(xpsDevice_t devId) const {
   return isAdded(devId) ? &*profiles_[devId] : nullptr;
}

std::vector<xpsDevice_t> xpDeviceMgr::devices() const {
   std::vector<xpsDevice_t> added;
   for (uint32_t devId = 0; devId < XP_MAX_DEVICES; ++devId) {
      if (profiles_[devId]) added.push_back(static_cast<xpsDevice_t>(devId));
   }
   return added;
}

void xpDeviceMgr::reset() {
   for (xpsDevice_t devId : devices())
      removeDevice(devId);
}
