#include "xdk/xpPlBase.h"

#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"

xpPlBase::~xpPlBase() = default;

xpPrimitiveMgr* xpPlBase::getPrimitiveMgr(uint32_t id) const {
   auto it = mgrs_.find(id);
   return it == mgrs_.end() ? nullptr : it->second.get();
}

XP_STATUS xpPlBase::addMgr(uint32_t id, std::unique_ptr<xpPrimitiveMgr> mgr) {
   if (id == 0) return XP_ERR_INVALID_ARG;
   if (!mgr) return XP_ERR_NULL_POINTER;
   if (mgrs_.count(id)) {
      XP_LOG(XP_LOG_MODULE_CORE, XP_LOG_ERROR, "Primitive id %u is already in use in %s\n", id,
             name_);
      return XP_ERR_ID_IN_USE;
   }
   const xpDeviceMgr& devices = *xpDeviceMgr::instance();
   for (xpsDevice_t devId : devices.devices()) {
      if (XP_STATUS status = mgr->addDevice(devId, *devices.profile(devId))) return status;
   }
   mgrs_.emplace(id, std::move(mgr));
   return XP_NO_ERR;
}

std::vector<std::pair<uint32_t, const xpPrimitiveMgr*>> xpPlBase::mgrs() const {
   std::vector<std::pair<uint32_t, const xpPrimitiveMgr*>> all;
   all.reserve(mgrs_.size());
   for (const auto& [id, mgr] : mgrs_)
      all.emplace_back(id, mgr.get());
   return all;
}

XP_STATUS xpPlBase::removeMgr(uint32_t id) {
   return mgrs_.erase(id) ? XP_NO_ERR : XP_ERR_KEY_NOT_FOUND;
}

void xpPlBase::reset() {
   mgrs_.clear();
}

XP_STATUS xpPlBase::addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) {
   for (auto it = mgrs_.begin(); it != mgrs_.end(); ++it) {
      if (XP_STATUS status = it->second->addDevice(devId, profile)) {
         for (auto done = mgrs_.begin(); done != it; ++done)
            done->second->removeDevice(devId);
         return status;
      }
   }
   return XP_NO_ERR;
}

void xpPlBase::removeDevice(xpsDevice_t devId) {
   for (auto& [id, mgr] : mgrs_)
      mgr->removeDevice(devId);
}
