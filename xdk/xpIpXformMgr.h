#pragma once

#include "xdk/xpDeviceTable.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <array>
#include <cstdint>

// One entry of an IP transform table: a prefix and the label an address under it gets.
struct xpIpXformEntry {
   static constexpr uint8_t kIpv4Type = 3;
   static constexpr uint8_t kIpv6Type = 4;

   // Network byte order; an IPv4 address is the first word.
   std::array<uint32_t, 4> ipAddr{};
   uint32_t xformedIp = 0;
   uint8_t ipType = 0;
   uint8_t prefixLen = 0;
   bool operator==(const xpIpXformEntry&) const = default;
};

// A slot of the table: the entry and whether the chip matches on it.
struct xpIpXformSlot {
   xpIpXformEntry entry;
   bool valid = false;
   bool operator==(const xpIpXformSlot&) const = default;
};

// The IP transform tables, pools of slots that the caller allocates. One table per direction
// serves both address families: instance 1 of the id table is the source table, instance 2
// the destination table.
class xpIpXformMgr : public xpDeviceTable<xpIpXformSlot>,
                     public xpPrimitiveMgrBase<xpIpXformMgr> {
public:
   static constexpr size_t kSrcInstance = 1;
   static constexpr size_t kDstInstance = 2;

   // Fills the slot and makes it valid.
   XP_STATUS writeEntry(xpsDevice_t devId, uint32_t index, const xpIpXformEntry* entry);
   // Makes the slot invalid; XP_ERR_NO_CHANGE if it was.
   XP_STATUS removeEntry(xpsDevice_t devId, uint32_t index);
   // The slot's entry and validity; the flag selects the chip's read path, of which the model
   // has one.
   XP_STATUS readEntry(xpsDevice_t devId, uint32_t index, xpIpXformEntry* entry, bool& valid,
                       uint8_t flag = 0);

protected:
   uint32_t tableSize(const xpDeviceProfile& profile) const override {
      return profile.ipXformEntries;
   }
};
