#pragma once

#include "xdk/xpHashedTable.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPrimitiveMgr.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

// The indexes an insertion touched: the new entry's, and a second one when an entry had to
// move to make room for it (a rehash), which then names where the moved entry went.
struct xpsHashIndexList {
   uint32_t size = 0;
   uint32_t index[2] = {};
};

// A manager of an exact-match table kept as xpHashedTable per device, in `copies` identical
// copies (one per pipeline). Entry has a hashed `key` and a `data` part. The operations take
// a copy where the SDK's do; an entry is added to and removed from every copy at once.
template <class Entry>
class xpHashedTableMgr : public xpPrimitiveMgr {
public:
   using Key = decltype(Entry::key);
   using Data = decltype(Entry::data);
   using Table = xpHashedTable<Key, Data>;

   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override {
      if (!xpIsValidDevId(devId)) return invalidDevice(devId);
      if (!tables_[devId].empty()) return XP_ERR_DEVICE_EXISTS;
      const uint32_t copies = numCopies(profile) ? numCopies(profile) : 1;
      for (uint32_t c = 0; c < copies; ++c)
         tables_[devId].emplace_back(tableSize(profile), kWays);
      return XP_NO_ERR;
   }

   XP_STATUS removeDevice(xpsDevice_t devId) override {
      if (XP_STATUS status = checkDevice(devId)) return status;
      tables_[devId].clear();
      return XP_NO_ERR;
   }

   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry) {
      if (auto injected = enterOp(opGetNumOfEntry_)) return *injected;
      numOfEntry = 0;
      if (XP_STATUS status = checkDevice(devId)) return status;
      numOfEntry = tables_[devId][0].size();
      return XP_NO_ERR;
   }

   // The chip's view, not an SDK operation and not counted: the copies of an added device
   // (empty when not added).
   const std::vector<Table>& tables(xpsDevice_t devId) const {
      static const std::vector<Table> none;
      return xpIsValidDevId(devId) ? tables_[devId] : none;
   }

protected:
   static constexpr uint32_t kWays = 4;
   virtual uint32_t tableSize(const xpDeviceProfile& profile) const = 0;
   virtual uint32_t numCopies(const xpDeviceProfile& profile) const = 0;

   // Where the entry's key lives in `copy`; XP_ERR_KEY_NOT_FOUND when absent.
   XP_STATUS lookupIn(xpsDevice_t devId, uint32_t copy, const Entry* entry, uint32_t& index) {
      if (auto injected = enterOp(opLookup_)) return *injected;
      if (XP_STATUS status = checkCopy(devId, copy, entry)) return status;
      return tables_[devId][copy].lookup(entry->key, index);
   }

   // Adds the entry to every copy; the index list of `copy` is handed back.
   XP_STATUS addIn(xpsDevice_t devId, uint32_t copy, const Entry* entry,
                   xpsHashIndexList* indexList) {
      if (auto injected = enterOp(opAddEntry_)) return *injected;
      if (XP_STATUS status = checkCopy(devId, copy, entry)) return status;
      if (!indexList) return XP_ERR_NULL_POINTER;
      // The copies see the same operations in the same order, so they agree on every outcome.
      XP_STATUS result = XP_NO_ERR;
      for (uint32_t c = 0; c < tables_[devId].size(); ++c) {
         uint32_t index = 0;
         uint32_t rehashIndex = 0;
         const XP_STATUS status =
             tables_[devId][c].insert(entry->key, entry->data, index, rehashIndex);
         if (status == XP_ERR_TABLE_FULL) return status;
         if (c != copy) continue;
         result = status;
         *indexList = xpsHashIndexList{};
         indexList->index[indexList->size++] = index;
         if (rehashIndex != index) indexList->index[indexList->size++] = rehashIndex;
      }
      return wrote(opAddEntry_, devId, 0, indexList->size ? indexList->index[0] : 0, result);
   }

   // Rewrites the data of the entry at `index` of `copy`, which must hold the entry's key.
   XP_STATUS writeIn(xpsDevice_t devId, uint32_t copy, uint32_t index, const Entry* entry) {
      if (auto injected = enterOp(opWriteEntry_)) return *injected;
      if (XP_STATUS status = checkCopy(devId, copy, entry)) return status;
      Table& t = tables_[devId][copy];
      const auto* slot = t.at(index);
      if (!slot || !sameKey(slot->key, entry->key)) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
                "No entry with this key at index %u on device %d\n", index, devId);
         return XP_ERR_INVALID_INDEX;
      }
      uint32_t at = index;
      uint32_t rehashIndex = index;
      return wrote(opWriteEntry_, devId, 0, index,
                   t.insert(entry->key, entry->data, at, rehashIndex));
   }

   // Empties the entry at `index` in every copy; XP_ERR_NO_CHANGE when it was empty.
   XP_STATUS removeAt(xpsDevice_t devId, uint32_t index) {
      if (auto injected = enterOp(opRemoveEntry_)) return *injected;
      if (XP_STATUS status = checkDevice(devId)) return status;
      XP_STATUS result = XP_NO_ERR;
      for (Table& t : tables_[devId])
         result = t.remove(index);
      return wrote(opRemoveEntry_, devId, 0, index, result);
   }

   // The entry at `index` of `copy`, for dumps; XP_ERR_KEY_NOT_FOUND when the place is empty.
   XP_STATUS readIn(xpsDevice_t devId, uint32_t copy, uint32_t index, Entry* entry) {
      if (auto injected = enterOp(opReadEntry_)) return *injected;
      if (XP_STATUS status = checkCopy(devId, copy, entry)) return status;
      const Table& t = tables_[devId][copy];
      if (index >= t.size()) return XP_ERR_INVALID_INDEX;
      const auto* slot = t.at(index);
      if (!slot) return XP_ERR_KEY_NOT_FOUND;
      entry->key = slot->key;
      entry->data = slot->value;
      return XP_NO_ERR;
   }

private:
   static bool sameKey(const Key& a, const Key& b) {
      return std::memcmp(&a, &b, sizeof a) == 0;
   }

   static XP_STATUS invalidDevice(xpsDevice_t devId) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }

   XP_STATUS checkDevice(xpsDevice_t devId) const {
      if (!xpIsValidDevId(devId)) return invalidDevice(devId);
      if (tables_[devId].empty()) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
                "The device %d is not added in primitive manager\n", devId);
         return XP_ERR_DEVICE_NOT_ADDED;
      }
      return XP_NO_ERR;
   }

   XP_STATUS checkCopy(xpsDevice_t devId, uint32_t copy, const void* entry) const {
      if (XP_STATUS status = checkDevice(devId)) return status;
      if (!entry) return XP_ERR_NULL_POINTER;
      if (copy >= tables_[devId].size()) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
                "Invalid table copy %u on device %d: it has %zu\n", copy, devId,
                tables_[devId].size());
         return XP_ERR_INVALID_ARG;
      }
      return XP_NO_ERR;
   }

   std::array<std::vector<Table>, XP_MAX_DEVICES> tables_;
   OpRef opGetNumOfEntry_ = opRef("getNumOfEntry");
   OpRef opLookup_ = opRef("lookup");
   OpRef opAddEntry_ = opRef("addEntry");
   OpRef opWriteEntry_ = opRef("writeEntry");
   OpRef opRemoveEntry_ = opRef("removeEntry");
   OpRef opReadEntry_ = opRef("readEntry");
};
