#pragma once

#include "xdk/xpLogMgr.h"
#include "xdk/xpPrimitiveMgr.h"

#include <array>
#include <cstdint>
#include <memory>

// A manager whose table is a plain array of Entry per device, sized from the device's profile
// when the device is added. A fresh table holds value-initialised entries, the chip's reset
// state. Derived managers add their own operations on top and reuse the checks, which log
// what they reject.
template <class Entry>
class xpDeviceTable : public xpPrimitiveMgr {
public:
   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override {
      if (!xpIsValidDevId(devId)) return invalidDevice(devId);
      Table& table = tables_[devId];
      if (table.data) return XP_ERR_DEVICE_EXISTS;
      const uint32_t size = tableSize(profile);
      table.data = std::make_unique<Entry[]>(size);
      table.size = size;
      table.generation = ++modifications_;
      return XP_NO_ERR;
   }

   XP_STATUS removeDevice(xpsDevice_t devId) override {
      if (XP_STATUS status = checkDevice(devId)) return status;
      tables_[devId] = Table{};
      tables_[devId].generation = ++modifications_;
      return XP_NO_ERR;
   }

   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry) {
      if (auto injected = enterOp(opGetNumOfEntry_)) return *injected;
      numOfEntry = 0;
      if (XP_STATUS status = checkDevice(devId)) return status;
      numOfEntry = tables_[devId].size;
      return XP_NO_ERR;
   }

   XP_STATUS readEntry(xpsDevice_t devId, uint32_t index, Entry* entry) {
      if (auto injected = enterOp(opReadEntry_)) return *injected;
      if (XP_STATUS status = checkEntry(devId, index, entry)) return status;
      *entry = tables_[devId].data[index];
      return XP_NO_ERR;
   }

   XP_STATUS writeEntry(xpsDevice_t devId, uint32_t index, const Entry* entry) {
      if (auto injected = enterOp(opWriteEntry_)) return *injected;
      if (XP_STATUS status = checkEntry(devId, index, entry)) return status;
      tables_[devId].data[index] = *entry;
      tables_[devId].generation = ++modifications_;
      return wrote(opWriteEntry_, devId, 0, index, XP_NO_ERR);
   }

   // The chip's view, for the model's own users (not an SDK operation, not counted): the entry
   // at `index` of an added device, or nullptr.
   const Entry* entryAt(xpsDevice_t devId, uint32_t index) const {
      if (!xpIsValidDevId(devId) || index >= tables_[devId].size) return nullptr;
      return &tables_[devId].data[index];
   }
   // The table of an added device as a whole (nullptr otherwise) and its size.
   const Entry* entriesOf(xpsDevice_t devId, uint32_t& size) const {
      size = xpIsValidDevId(devId) ? tables_[devId].size : 0;
      return entries(devId);
   }
   // Changes whenever the device's table may have changed (a write, the device added or
   // removed), and never takes a value it had before, on any device: a reader that keeps
   // something derived from the table keeps it with the generation and rebuilds it when that
   // moved on.
   uint64_t generation(xpsDevice_t devId) const {
      return xpIsValidDevId(devId) ? tables_[devId].generation : 0;
   }

protected:
   // The number of entries the table has on a device with this profile.
   virtual uint32_t tableSize(const xpDeviceProfile& profile) const = 0;

   XP_STATUS checkDevice(xpsDevice_t devId) const {
      if (!xpIsValidDevId(devId)) return invalidDevice(devId);
      if (!tables_[devId].data) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
                "The device %d is not added in primitive manager\n", devId);
         return XP_ERR_DEVICE_NOT_ADDED;
      }
      return XP_NO_ERR;
   }

   XP_STATUS checkEntry(xpsDevice_t devId, uint32_t index, const Entry* entry) const {
      if (XP_STATUS status = checkDevice(devId)) return status;
      if (!entry) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Null entry pointer for device %d\n",
                devId);
         return XP_ERR_NULL_POINTER;
      }
      if (index >= tables_[devId].size) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
                "Invalid index %u on device %d: the table has %u entries\n", index, devId,
                tables_[devId].size);
         return XP_ERR_INVALID_INDEX;
      }
      return XP_NO_ERR;
   }

   // The entries of an added device, bypassing counting and checks; nullptr if not added.
   // Write access counts as a change of the table.
   Entry* entries(xpsDevice_t devId) {
      if (!xpIsValidDevId(devId)) return nullptr;
      tables_[devId].generation = ++modifications_;
      return tables_[devId].data.get();
   }
   const Entry* entries(xpsDevice_t devId) const {
      return xpIsValidDevId(devId) ? tables_[devId].data.get() : nullptr;
   }

private:
   static XP_STATUS invalidDevice(xpsDevice_t devId) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }

   // One flat record per device, so that checking an access is two loads and a compare: the
   // model sits on the driver's per-entry path.
   struct Table {
      std::unique_ptr<Entry[]> data; // null while the device is not added
      uint32_t size = 0;
      uint64_t generation = 0;
   };
   std::array<Table, XP_MAX_DEVICES> tables_;
   // One sequence for every table of this kind, so that a generation is never seen twice.
   static inline uint64_t modifications_ = 0;
   // The table's own operations, found once: they run once per entry.
   OpRef opGetNumOfEntry_ = opRef("getNumOfEntry");
   OpRef opReadEntry_ = opRef("readEntry");
   OpRef opWriteEntry_ = opRef("writeEntry");
};
