#pragma once

#include "xdk/xpIpXformMgr.h"

#include <array>
#include <cstdint>
#include <vector>

// The longest-prefix match of an IP transform table, as the chip does it, from an index derived
// from the table's valid slots: the address space of each family cut into the intervals on
// which the best match does not change, searched by bisection. Built from the slots alone, so
// it knows nothing the table does not hold.
//
// Among slots with one prefix (same family, masked address and length) the lowest index
// wins. A slot of another type than IPv4 (3) or IPv6 (4) matches nothing.
class xpIpXformLpm {
public:
   struct Match {
      bool found = false;
      uint32_t index = 0; // the slot that matched
      uint32_t label = 0; // its xformed IP; 0 when nothing matched
      uint8_t prefixLen = 0;
   };

   // Rebuilds the index from `size` slots.
   void build(const xpIpXformSlot* slots, uint32_t size);
   // An address as the packet carries it: IPv4 in word 3, IPv6 most significant word first,
   // each word in host order.
   Match lookup(bool ipv6, const std::array<uint32_t, 4>& address) const;

private:
   __extension__ using U128 = unsigned __int128;
   // From `start` up to the next interval's start, addresses match slot `slot` (or nothing
   // when `slot` is kNone).
   struct Interval {
      U128 start;
      uint32_t slot;
      uint32_t label;
      uint8_t prefixLen;
   };
   static constexpr uint32_t kNone = UINT32_MAX;

   static void buildFamily(const xpIpXformSlot* slots, uint32_t size, bool ipv6,
                           std::vector<Interval>& out);

   std::vector<Interval> v4_;
   std::vector<Interval> v6_;
};
