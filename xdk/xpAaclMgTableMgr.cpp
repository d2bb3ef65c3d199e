#include "xdk/xpAaclMgTableMgr.h"

#include <bit>
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

// The hash of each way starts from its own seed; ways beyond the list reuse them, mixed with
// the way number.
constexpr uint64_t kWaySeed[] = {
    0x9e3779b97f4a7c15ull, 0xc2b2ae3d27d4eb4full, 0x165667b19e3779f9ull, 0xd6e8feb86659fd93ull,
    0xff51afd7ed558ccdull, 0xc4ceb9fe1a85ec53ull, 0x27d4eb2f165667c5ull, 0x94d049bb133111ebull};

uint64_t mix(uint64_t h) {
   h ^= h >> 33;
   h *= 0xff51afd7ed558ccdull;
   h ^= h >> 33;
   h *= 0xc4ceb9fe1a85ec53ull;
   h ^= h >> 33;
   return h;
}

uint64_t seedOf(uint32_t way) {
   return kWaySeed[way % std::size(kWaySeed)] + way / std::size(kWaySeed);
}

uint64_t keyHash(const xpAaclMgTableEntryKey& key, uint32_t way) {
   uint64_t w[3] = {};
   std::memcpy(w, key.bytes, xpAaclMgTableEntryKey::kBytes);
   uint64_t h = seedOf(way);
   for (uint64_t word : w)
      h = mix(h ^ word) + 0x2545f4914f6cdd1dull;
   return mix(h);
}

} // namespace

XP_STATUS xpAaclMgTableMgr::checkAdded(xpsDevice_t devId) const {
   if (!xpIsValidDevId(devId)) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }
   if (!devices_[devId].added) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
             "The device %d is not added in primitive manager\n", devId);
      return XP_ERR_DEVICE_NOT_ADDED;
   }
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::checkIndex(xpsDevice_t devId, uint32_t mgTableId,
                                       uint32_t index) const {
   if (XP_STATUS status = checkAdded(devId)) return status;
   if (mgTableId >= kNumMgTables) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR, "Invalid MG table %u on device %d\n", mgTableId,
             devId);
      return XP_ERR_INVALID_ARG;
   }
   const Device& d = devices_[devId];
   if (index >= d.entriesPerWay * d.ways) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR,
             "Invalid index %u of MG table %u on device %d: the table has %u entries\n", index,
             mgTableId, devId, d.entriesPerWay * d.ways);
      return XP_ERR_INVALID_INDEX;
   }
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) {
   if (!xpIsValidDevId(devId)) return checkAdded(devId);
   Device& d = devices_[devId];
   if (d.added) return XP_ERR_DEVICE_EXISTS;
   if (!std::has_single_bit(profile.mgTableEntries) || profile.mgTableWays == 0) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR,
             "MG tables of %u ways of %u entries are not supported on device %d\n",
             profile.mgTableWays, profile.mgTableEntries, devId);
      return XP_ERR_INVALID_ARG;
   }
   d.added = true;
   d.entriesPerWay = profile.mgTableEntries;
   d.ways = profile.mgTableWays;
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::removeDevice(xpsDevice_t devId) {
   if (XP_STATUS status = checkAdded(devId)) return status;
   devices_[devId] = Device{};
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry) {
   if (auto injected = enterOp(opGetNumOfEntry_)) return *injected;
   numOfEntry = 0;
   if (XP_STATUS status = checkAdded(devId)) return status;
   numOfEntry = devices_[devId].entriesPerWay;
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::getNumOfEntry(xpsDevice_t devId, uint32_t mgTableId,
                                          uint32_t& numOfEntry) {
   if (auto injected = enterOp(opGetNumOfEntry_)) return *injected;
   numOfEntry = 0;
   if (XP_STATUS status = checkIndex(devId, mgTableId, 0)) return status;
   numOfEntry = devices_[devId].entriesPerWay * devices_[devId].ways;
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::getNumOfWays(xpsDevice_t devId, uint32_t& numOfWays) {
   if (auto injected = enterOp("getNumOfWays")) return *injected;
   numOfWays = 0;
   if (XP_STATUS status = checkAdded(devId)) return status;
   numOfWays = devices_[devId].ways;
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::hashIndexInWay(xpsDevice_t devId, uint32_t mgTableId,
                                           uint32_t subTableId,
                                           const xpAaclMgTableEntryKey* key,
                                           uint32_t& hashIndex) {
   if (auto injected = enterOp(opHashIndexInWay_)) return *injected;
   if (XP_STATUS status = checkIndex(devId, mgTableId, 0)) return status;
   const Device& d = devices_[devId];
   if (!key) return XP_ERR_NULL_POINTER;
   if (subTableId >= d.ways) {
      XP_LOG(XP_LOG_MODULE_ACL, XP_LOG_ERROR, "Invalid way %u of MG table %u on device %d\n",
             subTableId, mgTableId, devId);
      return XP_ERR_INVALID_ARG;
   }
   hashIndex = wayIndexOf(devId, subTableId, *key);
   return XP_NO_ERR;
}

uint32_t xpAaclMgTableMgr::waysOf(xpsDevice_t devId) const {
   return xpIsValidDevId(devId) ? devices_[devId].ways : 0;
}

uint32_t xpAaclMgTableMgr::entriesPerWayOf(xpsDevice_t devId) const {
   return xpIsValidDevId(devId) ? devices_[devId].entriesPerWay : 0;
}

void xpAaclMgTableMgr::wayIndexesOf(xpsDevice_t devId, const xpAaclMgTableEntryKey& key,
                                    uint32_t firstWay, uint32_t count, uint32_t* out) const {
   const uint32_t perWay = entriesPerWayOf(devId);
   uint64_t w[3] = {};
   std::memcpy(w, key.bytes, xpAaclMgTableEntryKey::kBytes);
   // keyHash, four ways at a time: their chains of multiplications are independent.
   constexpr uint32_t kLanes = 4;
   for (uint32_t at = 0; at < count; at += kLanes) {
      uint64_t h[kLanes];
      for (uint32_t l = 0; l < kLanes; ++l)
         h[l] = seedOf(firstWay + at + l);
      for (uint64_t word : w) {
         for (uint32_t l = 0; l < kLanes; ++l)
            h[l] = mix(h[l] ^ word) + 0x2545f4914f6cdd1dull;
      }
      for (uint32_t l = 0; l < kLanes && at + l < count; ++l) {
         out[at + l] = (firstWay + at + l) * perWay +
                       (perWay ? static_cast<uint32_t>(mix(h[l]) & (perWay - 1)) : 0);
      }
   }
}

uint32_t xpAaclMgTableMgr::wayIndexOf(xpsDevice_t devId, uint32_t way,
                                      const xpAaclMgTableEntryKey& key) const {
   const uint32_t perWay = entriesPerWayOf(devId);
   return perWay ? static_cast<uint32_t>(keyHash(key, way) & (perWay - 1)) : 0;
}

XP_STATUS xpAaclMgTableMgr::writeKeyAndControlData(xpDeviceArg dev, uint32_t mgTableId,
                                                   uint32_t index,
                                                   const xpAaclMgTableEntry* entry) {
   if (auto injected = enterOp(opWrite_)) return *injected;
   const xpsDevice_t devId = dev.value;
   if (XP_STATUS status = checkIndex(devId, mgTableId, index)) return status;
   if (!entry) return XP_ERR_NULL_POINTER;
   Device& d = devices_[devId];
   std::unique_ptr<Slot[]>& table = d.tables[mgTableId];
   if (!table) [[unlikely]] {
      table = std::make_unique<Slot[]>(d.entriesPerWay * d.ways);
      d.validBits[mgTableId] =
          std::make_unique<uint64_t[]>((d.entriesPerWay * d.ways + 63) / 64);
   }
   table[index] = Slot{*entry, true};
   d.validBits[mgTableId][index / 64] |= uint64_t{1} << (index % 64);
   return wrote(opWrite_, devId, mgTableId, index, XP_NO_ERR);
}

XP_STATUS xpAaclMgTableMgr::readEntry(xpDeviceArg dev, uint32_t mgTableId, uint32_t index,
                                      xpAaclMgTableEntryKey* key, xpAaclMgTableEntryData* data,
                                      uint8_t flag) {
   (void)flag;
   if (auto injected = enterOp(opReadEntry_)) return *injected;
   const xpsDevice_t devId = dev.value;
   if (XP_STATUS status = checkIndex(devId, mgTableId, index)) return status;
   if (!key || !data) return XP_ERR_NULL_POINTER;
   const Slot* table = devices_[devId].tables[mgTableId].get();
   const Slot empty{};
   const Slot& slot = table ? table[index] : empty;
   *key = slot.entry.key;
   *data = slot.entry.data;
   return XP_NO_ERR;
}

XP_STATUS xpAaclMgTableMgr::removeEntry(xpDeviceArg dev, uint32_t mgTableId, uint32_t index) {
   if (auto injected = enterOp(opRemoveEntry_)) return *injected;
   const xpsDevice_t devId = dev.value;
   if (XP_STATUS status = checkIndex(devId, mgTableId, index)) return status;
   Device& d = devices_[devId];
   Slot* table = d.tables[mgTableId].get();
   if (!table || !table[index].valid) return XP_ERR_NO_CHANGE;
   table[index] = Slot{};
   d.validBits[mgTableId][index / 64] &= ~(uint64_t{1} << (index % 64));
   return wrote(opRemoveEntry_, devId, mgTableId, index, XP_NO_ERR);
}

const xpAaclMgTableEntry* xpAaclMgTableMgr::validEntry(xpsDevice_t devId, uint32_t mgTableId,
                                                       uint32_t index) const {
   if (!xpIsValidDevId(devId) || mgTableId >= kNumMgTables) return nullptr;
   const Device& d = devices_[devId];
   const uint64_t* valid = d.validBits[mgTableId].get();
   if (!valid || index >= d.entriesPerWay * d.ways ||
       !(valid[index / 64] >> (index % 64) & 1)) {
      return nullptr;
   }
   return &d.tables[mgTableId][index].entry;
}
