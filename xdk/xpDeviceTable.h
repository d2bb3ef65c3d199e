#pragma once

#include "xdk/xpLogMgr.h"
#include "xdk/xpPrimitiveMgr.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

// A manager whose table is a plain array of Entry per device, sized from the device's profile
// when the device is added. A fresh table holds value-initialised entries, the chip's reset
// state. Derived managers add their own operations on top and reuse the checks, which log
// what they reject.
template <class Entry>
class xpDeviceTable : public xpPrimitiveMgr {
public:
   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override {
      if (!xpIsValidDevId(devId)) return invalidDevice(devId);
      if (tables_[devId]) return XP_ERR_DEVICE_EXISTS;
      tables_[devId].emplace(tableSize(profile));
      return XP_NO_ERR;
   }

   XP_STATUS removeDevice(xpsDevice_t devId) override {
      if (XP_STATUS status = checkDevice(devId)) return status;
      tables_[devId].reset();
      return XP_NO_ERR;
   }

   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry) {
      if (auto injected = enterOp(opGetNumOfEntry_)) return *injected;
      numOfEntry = 0;
      if (XP_STATUS status = checkDevice(devId)) return status;
      numOfEntry = static_cast<uint32_t>(tables_[devId]->size());
      return XP_NO_ERR;
   }

   XP_STATUS readEntry(xpsDevice_t devId, uint32_t index, Entry* entry) {
      if (auto injected = enterOp(opReadEntry_)) return *injected;
      if (XP_STATUS status = checkEntry(devId, index, entry)) return status;
      *entry = (*tables_[devId])[index];
      return XP_NO_ERR;
   }

   XP_STATUS writeEntry(xpsDevice_t devId, uint32_t index, const Entry* entry) {
      if (auto injected = enterOp(opWriteEntry_)) return *injected;
      if (XP_STATUS status = checkEntry(devId, index, entry)) return status;
      (*tables_[devId])[index] = *entry;
      return XP_NO_ERR;
   }

protected:
   // The number of entries the table has on a device with this profile.
   virtual uint32_t tableSize(const xpDeviceProfile& profile) const = 0;

   XP_STATUS checkDevice(xpsDevice_t devId) const {
      if (!xpIsValidDevId(devId)) return invalidDevice(devId);
      if (!tables_[devId]) {
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
      if (index >= tables_[devId]->size()) {
         XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
                "Invalid index %u on device %d: the table has %zu entries\n", index, devId,
                tables_[devId]->size());
         return XP_ERR_INVALID_INDEX;
      }
      return XP_NO_ERR;
   }

   // The entries of an added device, bypassing counting and checks; nullptr if not added.
   std::vector<Entry>* entries(xpsDevice_t devId) {
      return xpIsValidDevId(devId) && tables_[devId] ? &*tables_[devId] : nullptr;
   }
   const std::vector<Entry>* entries(xpsDevice_t devId) const {
      return xpIsValidDevId(devId) && tables_[devId] ? &*tables_[devId] : nullptr;
   }

private:
   static XP_STATUS invalidDevice(xpsDevice_t devId) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }

   std::array<std::optional<std::vector<Entry>>, XP_MAX_DEVICES> tables_;
   // Slots of the table's own operations, found once: they run once per entry.
   size_t opGetNumOfEntry_ = opSlot("getNumOfEntry");
   size_t opReadEntry_ = opSlot("readEntry");
   size_t opWriteEntry_ = opSlot("writeEntry");
};
