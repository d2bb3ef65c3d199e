#pragma once

#include "xdk/xpDeviceTable.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <cstdint>

struct xpTestEntry {
   uint32_t key = 0;
   uint32_t value = 0;
   bool operator==(const xpTestEntry&) const = default;
};

// A manager built the way the real ones are: the per-device table base, the id mixin, and one
// operation of its own.
class xpTestTableMgr : public xpDeviceTable<xpTestEntry>,
                       public xpPrimitiveMgrBase<xpTestTableMgr> {
public:
   explicit xpTestTableMgr(uint32_t size) : size_(size) {}

   // Back to the reset state; XP_ERR_NO_CHANGE if it already was.
   XP_STATUS clearEntry(xpsDevice_t devId, uint32_t index) {
      if (auto injected = enterOp("clearEntry")) return *injected;
      const xpTestEntry clear{};
      if (XP_STATUS status = checkEntry(devId, index, &clear)) return status;
      xpTestEntry& entry = entries(devId)[index];
      if (entry == clear) return XP_ERR_NO_CHANGE;
      entry = clear;
      return XP_NO_ERR;
   }

protected:
   uint32_t tableSize(const xpDeviceProfile&) const override { return size_; }

private:
   uint32_t size_;
};
