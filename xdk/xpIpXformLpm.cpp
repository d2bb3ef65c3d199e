#include "xdk/xpIpXformLpm.h"

#include <algorithm>
#include <bit>

namespace {

uint32_t toHost(uint32_t v) {
   return std::endian::native == std::endian::little ? __builtin_bswap32(v) : v;
}

} // namespace

void xpIpXformLpm::build(const xpIpXformSlot* slots, uint32_t size) {
   buildFamily(slots, size, false, v4_);
   buildFamily(slots, size, true, v6_);
}

void xpIpXformLpm::buildFamily(const xpIpXformSlot* slots, uint32_t size, bool ipv6,
                               std::vector<Interval>& out) {
   const uint8_t type = ipv6 ? xpIpXformEntry::kIpv6Type : xpIpXformEntry::kIpv4Type;
   const unsigned width = ipv6 ? 128 : 32;
   const U128 top = ipv6 ? ~U128{0} : U128{UINT32_MAX};
   struct Prefix {
      U128 lo;
      U128 hi;
      uint8_t len;
      uint32_t slot;
      uint32_t label;
   };
   std::vector<Prefix> prefixes;
   for (uint32_t i = 0; i < size; ++i) {
      const xpIpXformSlot& s = slots[i];
      if (!s.valid || s.entry.ipType != type) continue;
      U128 addr = 0;
      if (ipv6) {
         for (uint32_t w : s.entry.ipAddr)
            addr = addr << 32 | toHost(w);
      } else {
         addr = toHost(s.entry.ipAddr[0]);
      }
      const uint8_t len = std::min<uint8_t>(s.entry.prefixLen, uint8_t(width));
      const U128 host = len >= width ? U128{0} : top >> len; // the bits the prefix leaves open
      prefixes.push_back(
          {addr & ~host & top, (addr & ~host & top) | host, len, i, s.entry.xformedIp});
   }
   // A containing prefix sorts before what it contains; of equal prefixes the lowest slot
   // first.
   std::sort(prefixes.begin(), prefixes.end(), [](const Prefix& a, const Prefix& b) {
      if (a.lo != b.lo) return a.lo < b.lo;
      if (a.len != b.len) return a.len < b.len;
      return a.slot < b.slot;
   });
   out.clear();
   auto emit = [&](U128 at, const Prefix* p) {
      const Interval iv{at, p ? p->slot : kNone, p ? p->label : 0, p ? p->len : uint8_t(0)};
      if (!out.empty() && out.back().start == at) {
         out.back() = iv;
      } else {
         out.push_back(iv);
      }
   };
   emit(0, nullptr);
   // The prefixes that contain the current address, innermost on top: prefixes nest or are
   // disjoint, so the address space is cut where one starts or ends.
   std::vector<const Prefix*> open;
   auto close = [&] {
      const Prefix* done = open.back();
      open.pop_back();
      if (done->hi != top) emit(done->hi + 1, open.empty() ? nullptr : open.back());
   };
   for (size_t i = 0; i < prefixes.size(); ++i) {
      const Prefix& p = prefixes[i];
      if (i > 0 && prefixes[i - 1].lo == p.lo && prefixes[i - 1].len == p.len) continue;
      while (!open.empty() && open.back()->hi < p.lo)
         close();
      emit(p.lo, &p);
      open.push_back(&p);
   }
   while (!open.empty())
      close();
}

xpIpXformLpm::Match xpIpXformLpm::lookup(bool ipv6,
                                         const std::array<uint32_t, 4>& address) const {
   U128 addr = 0;
   if (ipv6) {
      for (uint32_t w : address)
         addr = addr << 32 | w;
   } else {
      addr = address[3];
   }
   const std::vector<Interval>& iv = ipv6 ? v6_ : v4_;
   if (iv.empty()) return Match{};
   auto it = std::upper_bound(iv.begin(), iv.end(), addr,
                              [](U128 a, const Interval& i) { return a < i.start; });
   const Interval& at = *(it - 1);
   if (at.slot == kNone) return Match{};
   return Match{true, at.slot, at.label, at.prefixLen};
}
