#include "xdk/xpMgksMgr.h"

#include <memory>

#include "xdk/xpAclPl.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   auto mgr = std::make_unique<xpMgksMgr>();
   mgr->tableNameIs("xpMgksMgr");
   xpAclPl::instance()->addMgr(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0), std::move(mgr));
});

} // namespace

xpMgksMgr::Match xpMgksMgr::matchOf(const xpMgksEntry& entry) {
   Match m;
   std::memcpy(m.data(), entry.bytes, m.size());
   return m;
}

XP_STATUS xpMgksMgr::checkTable(xpsDevice_t devId, uint32_t mgksTableId) const {
   if (!xpIsValidDevId(devId)) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }
   if (!devices_[devId].added) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
             "The device %d is not added in primitive manager\n", devId);
      return XP_ERR_DEVICE_NOT_ADDED;
   }
   if (mgksTableId >= kNumMgksTables) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR, "Invalid MGKS table %u on device %d\n",
             mgksTableId, devId);
      return XP_ERR_INVALID_ARG;
   }
   return XP_NO_ERR;
}

XP_STATUS xpMgksMgr::addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) {
   if (!xpIsValidDevId(devId)) return checkTable(devId, 0);
   Device& d = devices_[devId];
   if (d.added) return XP_ERR_DEVICE_EXISTS;
   if (profile.mgksTableEntries < kWays) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR,
             "MGKS tables of %u entries are not supported on device %d\n",
             profile.mgksTableEntries, devId);
      return XP_ERR_INVALID_ARG;
   }
   d.added = true;
   d.entries = profile.mgksTableEntries / kWays * kWays;
   for (Table& t : d.tables)
      t.resize(d.entries, kWays);
   return XP_NO_ERR;
}

XP_STATUS xpMgksMgr::removeDevice(xpsDevice_t devId) {
   if (XP_STATUS status = checkTable(devId, 0)) return status;
   devices_[devId] = Device{};
   return XP_NO_ERR;
}

XP_STATUS xpMgksMgr::getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry) {
   if (auto injected = enterOp("getNumOfEntry")) return *injected;
   numOfEntry = 0;
   if (XP_STATUS status = checkTable(devId, 0)) return status;
   numOfEntry = devices_[devId].entries;
   return XP_NO_ERR;
}

XP_STATUS xpMgksMgr::addEntry(xpDeviceArg dev, uint32_t mgksTableId, const xpMgksEntry* entry,
                              uint32_t& index, uint32_t& reHashIdx) {
   if (auto injected = enterOp(opAdd_)) return *injected;
   if (XP_STATUS status = checkTable(dev.value, mgksTableId)) return status;
   if (!entry) return XP_ERR_NULL_POINTER;
   return wrote(opAdd_, dev.value, mgksTableId, index,
                devices_[dev.value].tables[mgksTableId].insert(matchOf(*entry), *entry, index,
                                                               reHashIdx));
}

XP_STATUS xpMgksMgr::removeEntry(xpDeviceArg dev, uint32_t mgksTableId, uint32_t index) {
   if (auto injected = enterOp(opRemove_)) return *injected;
   if (XP_STATUS status = checkTable(dev.value, mgksTableId)) return status;
   XP_STATUS status = wrote(opRemove_, dev.value, mgksTableId, index,
                            devices_[dev.value].tables[mgksTableId].remove(index));
   if (status == XP_ERR_INVALID_INDEX) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR,
             "Invalid index %u of MGKS table %u on device %d: the table has %u entries\n",
             index, mgksTableId, dev.value, devices_[dev.value].entries);
   }
   return status;
}

XP_STATUS xpMgksMgr::readEntry(xpDeviceArg dev, uint32_t mgksTableId, uint32_t index,
                               xpMgksEntry* entry) {
   if (auto injected = enterOp(opRead_)) return *injected;
   if (XP_STATUS status = checkTable(dev.value, mgksTableId)) return status;
   if (!entry) return XP_ERR_NULL_POINTER;
   const Table& t = devices_[dev.value].tables[mgksTableId];
   if (index >= t.size()) return XP_ERR_INVALID_INDEX;
   const auto* slot = t.at(index);
   *entry = slot ? slot->value : xpMgksEntry{};
   return XP_NO_ERR;
}

XP_STATUS xpMgksMgr::lookupEntry(xpDeviceArg dev, uint32_t mgksTableId,
                                 const xpMgksEntry* match, uint32_t& index) {
   if (auto injected = enterOp(opLookup_)) return *injected;
   if (XP_STATUS status = checkTable(dev.value, mgksTableId)) return status;
   if (!match) return XP_ERR_NULL_POINTER;
   return devices_[dev.value].tables[mgksTableId].lookup(matchOf(*match), index);
}

const xpMgksEntry* xpMgksMgr::validEntry(xpsDevice_t devId, uint32_t mgksTableId,
                                         uint32_t index) const {
   if (!xpIsValidDevId(devId) || mgksTableId >= kNumMgksTables || !devices_[devId].added) {
      return nullptr;
   }
   const auto* slot = devices_[devId].tables[mgksTableId].at(index);
   return slot ? &slot->value : nullptr;
}

const xpMgksEntry* xpMgksMgr::findEntry(xpsDevice_t devId, uint32_t mgksTableId,
                                        const xpMgksEntry& match, uint32_t& index) const {
   if (!xpIsValidDevId(devId) || mgksTableId >= kNumMgksTables || !devices_[devId].added) {
      return nullptr;
   }
   const Table& t = devices_[devId].tables[mgksTableId];
   if (t.lookup(matchOf(match), index) != XP_NO_ERR) return nullptr;
   return &t.at(index)->value;
}

bool xpMgksMgr::addWouldMove(xpsDevice_t devId, uint32_t mgksTableId,
                             const xpMgksEntry& match) const {
   if (!xpIsValidDevId(devId) || mgksTableId >= kNumMgksTables || !devices_[devId].added) {
      return false;
   }
   return devices_[devId].tables[mgksTableId].insertWouldMove(matchOf(match));
}
