#pragma once

#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpHashedTable.h"
#include "xdk/xpPrimitiveMgr.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <array>
#include <cstdint>
#include <cstring>

// A mask-group key-select entry as the chip holds it: bytes 0-3 are the match (hardware ACL
// index, packet type, ACL type, direction), bytes 4-7 the result (SE profile, key fields, and
// the MG-table ACL id with its packet type, ACL type and direction). A fresh entry is all
// zeros, which is also how an empty index reads.
struct xpMgksEntry {
   static constexpr size_t kBytes = 8;
   static constexpr size_t kMatchBytes = 4;
   uint8_t bytes[kBytes] = {};
   bool operator==(const xpMgksEntry& o) const {
      return std::memcmp(bytes, o.bytes, kBytes) == 0;
   }
};

// The key-select tables, one per LDE (0 .. kNumMgksTables - 1), each a hashed table of fixed
// size on the match bytes: an entry lands where its match hashes, and a table can fill up.
class xpMgksMgr : public xpPrimitiveMgr, public xpPrimitiveMgrBase<xpMgksMgr> {
public:
   static constexpr uint32_t kNumMgksTables = 7;
   static constexpr uint32_t kWays = 4;

   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override;
   XP_STATUS removeDevice(xpsDevice_t devId) override;

   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry);
   // Places the entry by its match (over the entry of the same match, if any). `index` is where
   // it lives; `reHashIdx` differs from it only when the entry that was at `index` had to move
   // to make room, and then tells where it went. XP_ERR_TABLE_FULL when no room can be made.
   XP_STATUS addEntry(xpDeviceArg devId, uint32_t mgksTableId, const xpMgksEntry* entry,
                      uint32_t& index, uint32_t& reHashIdx);
   // Empties the index; XP_ERR_NO_CHANGE if it was empty.
   XP_STATUS removeEntry(xpDeviceArg devId, uint32_t mgksTableId, uint32_t index);
   // The entry at the index; an empty one reads as a fresh entry.
   XP_STATUS readEntry(xpDeviceArg devId, uint32_t mgksTableId, uint32_t index,
                       xpMgksEntry* entry);
   // Where the entry with this match lives: XP_ERR_KEY_NOT_FOUND when there is none.
   XP_STATUS lookupEntry(xpDeviceArg devId, uint32_t mgksTableId, const xpMgksEntry* match,
                         uint32_t& index);

   // The chip's view, for the model's own users (not an SDK operation, not counted): the entry
   // at `index` if it holds one.
   const xpMgksEntry* validEntry(xpsDevice_t devId, uint32_t mgksTableId, uint32_t index) const;
   // Calls f(index, entry) for every entry a table holds, in index order (not counted).
   template <class F>
   void forEachValid(xpsDevice_t devId, uint32_t mgksTableId, F&& f) const {
      if (!xpIsValidDevId(devId) || mgksTableId >= kNumMgksTables || !devices_[devId].added)
         return;
      devices_[devId].tables[mgksTableId].forEachValid(
          [&](uint32_t index, const Match&, const xpMgksEntry& entry) { f(index, entry); });
   }
   // The entry whose match (first kMatchBytes bytes) equals that of `match`, and its index;
   // nullptr when there is none (not counted).
   const xpMgksEntry* findEntry(xpsDevice_t devId, uint32_t mgksTableId,
                                const xpMgksEntry& match, uint32_t& index) const;
   // Whether adding an entry with this match now would move another entry (not counted).
   bool addWouldMove(xpsDevice_t devId, uint32_t mgksTableId, const xpMgksEntry& match) const;

private:
   using Match = std::array<uint8_t, xpMgksEntry::kMatchBytes>;
   using Table = xpHashedTable<Match, xpMgksEntry>;
   struct Device {
      bool added = false;
      uint32_t entries = 0;
      std::array<Table, kNumMgksTables> tables;
   };

   XP_STATUS checkTable(xpsDevice_t devId, uint32_t mgksTableId) const;
   static Match matchOf(const xpMgksEntry& entry);

   std::array<Device, XP_MAX_DEVICES> devices_;
   OpRef opAdd_ = opRef("addEntry");
   OpRef opRemove_ = opRef("removeEntry");
   OpRef opRead_ = opRef("readEntry");
   OpRef opLookup_ = opRef("lookupEntry");
};
