#pragma once

#include "xdk/xpPrimitiveMgr.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <memory>

// The key of a mask-group table entry, byte by byte as the chip matches it. A fresh key is all
// zeros, which is also how an empty entry reads.
struct xpAaclMgTableEntryKey {
   static constexpr size_t kBytes = 18;
   uint8_t bytes[kBytes] = {};
   bool operator==(const xpAaclMgTableEntryKey& o) const {
      return std::memcmp(bytes, o.bytes, kBytes) == 0;
   }
};

// What a hit on an entry does: word 0 holds the result, logging and counter bits, word 1 the
// priority.
struct xpAaclMgTableEntryData {
   uint16_t word[2] = {};
   bool operator==(const xpAaclMgTableEntryData&) const = default;
};

struct xpAaclMgTableEntry {
   xpAaclMgTableEntryKey key;
   xpAaclMgTableEntryData data;
   bool operator==(const xpAaclMgTableEntry&) const = default;
};

// A device id as the table calls take it: the number, or an identifier object carrying it.
struct xpDeviceArg {
   xpsDevice_t value;
   xpDeviceArg(xpsDevice_t v) : value(v) {}
   template <class Id>
   requires requires(const Id& id) {
      { id.value() } -> std::convertible_to<xpsDevice_t>;
   }
   xpDeviceArg(const Id& id) : value(id.value()) {}
};

// The mask-group tables of the ACL stages: one hashed rule table per stage LDE, numbered
// 0 .. kNumMgTables - 1. A table is split into ways of equal size (a power of two); entry
// `index` is hash index (index % entries per way) of way (index / entries per way). A key's
// place in a way is a hash of its bytes, a different hash per way, so that keys that collide
// in one way spread in another.
class xpAaclMgTableMgr : public xpPrimitiveMgr, public xpPrimitiveMgrBase<xpAaclMgTableMgr> {
public:
   static constexpr uint32_t kNumMgTables = 8;

   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override;
   XP_STATUS removeDevice(xpsDevice_t devId) override;

   // The number of entries per way of the device's tables.
   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry);
   // The number of entries of one table, every way.
   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t mgTableId, uint32_t& numOfEntry);
   // The number of ways of the device's tables; a placing layer tries them in turn.
   XP_STATUS getNumOfWays(xpsDevice_t devId, uint32_t& numOfWays);

   // Where the key falls in way `subTableId`: an index within the way.
   XP_STATUS hashIndexInWay(xpsDevice_t devId, uint32_t mgTableId, uint32_t subTableId,
                            const xpAaclMgTableEntryKey* key, uint32_t& hashIndex);
   // Writes key and control data of the entry at `index` at once.
   XP_STATUS writeKeyAndControlData(xpDeviceArg devId, uint32_t mgTableId, uint32_t index,
                                    const xpAaclMgTableEntry* entry);
   // The entry at `index`; an empty one reads as fresh key and data. The flag selects the
   // chip's read path, of which the model has one.
   XP_STATUS readEntry(xpDeviceArg devId, uint32_t mgTableId, uint32_t index,
                       xpAaclMgTableEntryKey* key, xpAaclMgTableEntryData* data,
                       uint8_t flag = 0);
   // Empties the entry; XP_ERR_NO_CHANGE if it was empty.
   XP_STATUS removeEntry(xpDeviceArg devId, uint32_t mgTableId, uint32_t index);

   // The chip's view, for the model's own users (not an SDK operation, not counted): the entry
   // at `index` if it holds one.
   const xpAaclMgTableEntry* validEntry(xpsDevice_t devId, uint32_t mgTableId,
                                        uint32_t index) const;
   // Calls f(index, entry) for every entry a table holds, in index order (not counted).
   template <class F>
   void forEachValid(xpsDevice_t devId, uint32_t mgTableId, F&& f) const {
      if (!xpIsValidDevId(devId) || mgTableId >= kNumMgTables) return;
      const Device& d = devices_[devId];
      const Slot* table = d.tables[mgTableId].get();
      for (uint32_t i = 0; table && i < d.entriesPerWay * d.ways; ++i)
         if (table[i].valid) f(i, table[i].entry);
   }
   // The ways and entries per way of an added device (0 otherwise), and where a key falls in
   // a way: the hash hashIndexInWay answers with, for the model's own users (not counted).
   uint32_t waysOf(xpsDevice_t devId) const;
   uint32_t entriesPerWayOf(xpsDevice_t devId) const;
   uint32_t wayIndexOf(xpsDevice_t devId, uint32_t way, const xpAaclMgTableEntryKey& key) const;
   // The hardware index (way × entries per way + hash index) of the key in `count` ways from
   // `firstWay` on, into `out`: the ways' hashes computed side by side.
   void wayIndexesOf(xpsDevice_t devId, const xpAaclMgTableEntryKey& key, uint32_t firstWay,
                     uint32_t count, uint32_t* out) const;

private:
   struct Slot {
      xpAaclMgTableEntry entry;
      bool valid = false;
   };
   struct Device {
      bool added = false;
      uint32_t entriesPerWay = 0;
      uint32_t ways = 0;
      // Allocated on the first write: most tables of most devices stay empty.
      std::array<std::unique_ptr<Slot[]>, kNumMgTables> tables;
      // The valid bits of each table apart, a bit per entry: a reader probing many places
      // touches these few lines rather than the entries.
      std::array<std::unique_ptr<uint64_t[]>, kNumMgTables> validBits;
   };

   XP_STATUS checkAdded(xpsDevice_t devId) const;
   XP_STATUS checkIndex(xpsDevice_t devId, uint32_t mgTableId, uint32_t index) const;

   std::array<Device, XP_MAX_DEVICES> devices_;
   OpRef opHashIndexInWay_ = opRef("hashIndexInWay");
   OpRef opWrite_ = opRef("writeKeyAndControlData");
   OpRef opReadEntry_ = opRef("readEntry");
   OpRef opRemoveEntry_ = opRef("removeEntry");
   OpRef opGetNumOfEntry_ = opRef("getNumOfEntry");
};
