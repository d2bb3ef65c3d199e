#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "norv/FlatHashMap.h"
#include "platform/PlexoIpGenPrefix.h"
#include "sim/acl/Acl.h"

// The pure parts of ACL compilation: flat labels for port intervals and prefixes, what a rule
// field expands to, and rule priorities. Nothing here touches a chip.
namespace Sim::Acl {

// Ranges split at every boundary: disjoint intervals, in port order, whose union is the union
// of `ranges`. Each range is exactly a union of some of them.
std::vector<PortRange> elementaryIntervals(const std::set<PortRange>& ranges);
// The same from ranges in any order, repeats allowed.
std::vector<PortRange> elementaryIntervals(const std::vector<PortRange>& ranges);

// Labels 1..max for `wanted` (sorted, without duplicates): a key keeps the label it had in
// `previous`; a new key takes the lowest label neither kept nor in `avoid`. Nothing when the
// labels run out. Linear in the keys: a whole table is labelled on every compilation.
template <class K>
std::optional<std::map<K, uint32_t>>
stableLabelsSorted(const std::vector<K>& wanted, const std::map<K, uint32_t>& previous,
                   const std::vector<uint32_t>& avoid, uint32_t max) {
   // A label above max is never handed out, so only those up to max need marking.
   std::vector<bool> used(size_t{max} + 1);
   const auto mark = [&](uint32_t v) {
      if (v <= max) used[v] = true;
   };
   for (uint32_t v : avoid)
      mark(v);
   std::vector<uint32_t> label(wanted.size());
   std::vector<bool> kept(wanted.size());
   auto it = previous.begin();
   for (size_t i = 0; i < wanted.size(); ++i) {
      while (it != previous.end() && it->first < wanted[i])
         ++it;
      if (it == previous.end() || wanted[i] < it->first) continue;
      label[i] = it->second;
      kept[i] = true;
      mark(it->second);
   }
   std::map<K, uint32_t> out;
   uint32_t next = 1;
   for (size_t i = 0; i < wanted.size(); ++i) {
      if (!kept[i]) {
         while (next <= max && used[next])
            ++next;
         if (next > max) return std::nullopt;
         label[i] = next;
         used[next++] = true;
      }
      out.emplace_hint(out.end(), wanted[i], label[i]);
   }
   return out;
}

template <class K>
std::optional<std::map<K, uint32_t>>
stableLabels(const std::set<K>& wanted, const std::map<K, uint32_t>& previous,
             const std::set<uint32_t>& avoid, uint32_t max) {
   return stableLabelsSorted(std::vector<K>(wanted.begin(), wanted.end()), previous,
                             std::vector<uint32_t>(avoid.begin(), avoid.end()), max);
}

// Labels of the intervals inside `r` (intervals are disjoint; `r` is a union of some of them).
std::vector<uint32_t> portLabels(const PortRange& r,
                                 const std::map<PortRange, uint32_t>& intervals);

// A port table flattened for the many lookups of rule expansion.
struct FlatIntervals {
   std::vector<PortRange> intervals; // in port order
   std::vector<uint32_t> labels;
   explicit FlatIntervals(const std::map<PortRange, uint32_t>& table);
};

// The same over a flattened table, appended to `out`.
void portLabels(const PortRange& r, const FlatIntervals& table, std::vector<uint32_t>& out);

// Labels of the table's prefixes that lie inside `p`: a packet inside p carries the label of
// its longest match in the table, which is one of these.
std::vector<uint32_t> prefixLabels(const Plexo::IpGenPrefix& p,
                                   const std::map<Plexo::IpGenPrefix, uint32_t>& table);

// A prefix packed for the many comparisons of compilation: its address as 128 bits (IPv4 in
// the low 32), ordered as prefixes are (family, address, length).
struct PrefixKey {
   uint64_t hi = 0, lo = 0;
   uint8_t type = 0, len = 0;
   uint8_t bits = 0; // of the 128, those the prefix fixes
   PrefixKey() = default;
   explicit PrefixKey(const Plexo::IpGenPrefix& p);
   size_t hash() const {
      uint64_t h = (hi ^ (lo * 0x9e3779b97f4a7c15ull) ^ (uint64_t{type} << 8 | len)) *
                   0xbf58476d1ce4e5b9ull;
      return static_cast<size_t>(h ^ (h >> 31));
   }
   friend bool operator<(const PrefixKey& a, const PrefixKey& b) {
      if (a.type != b.type) return a.type < b.type;
      if (a.hi != b.hi) return a.hi < b.hi;
      if (a.lo != b.lo) return a.lo < b.lo;
      return a.len < b.len;
   }
   bool operator==(const PrefixKey& o) const {
      return hi == o.hi && lo == o.lo && type == o.type && len == o.len;
   }
   // As prefixContains.
   bool contains(const PrefixKey& inner) const {
      if (type != inner.type || inner.len < len) return false;
      const uint64_t hiMask = bits >= 64 ? ~uint64_t{0}
                              : bits     ? ~uint64_t{0} << (64 - bits)
                                         : 0;
      const uint64_t loMask = bits <= 64 ? 0 : ~uint64_t{0} << (128 - bits);
      return (((hi ^ inner.hi) & hiMask) | ((lo ^ inner.lo) & loMask)) == 0;
   }
};

// `prefixes` sorted, without duplicates.
std::vector<Plexo::IpGenPrefix> sortedUnique(std::vector<Plexo::IpGenPrefix> prefixes);

// A prefix table flattened for the many lookups of rule expansion.
struct FlatPrefixes {
   std::vector<PrefixKey> keys; // in prefix order
   std::vector<uint32_t> labels;
   // Where each key is: a rule's prefix is in its table, found without a search.
   Norv::FlatHashMap<PrefixKey, uint32_t> at;
   explicit FlatPrefixes(const std::map<Plexo::IpGenPrefix, uint32_t>& table);
};

// The same over a flattened table, appended to `out`.
void prefixLabels(const Plexo::IpGenPrefix& p, const FlatPrefixes& table,
                  std::vector<uint32_t>& out);

// The label a prefix no rule uses any more keeps in the table so that it never shadows a
// shorter prefix in use: the label of its longest enclosing live prefix, else `dead` (matched
// by no rule).
uint32_t ghostLabel(const Plexo::IpGenPrefix& ghost,
                    const std::map<Plexo::IpGenPrefix, uint32_t>& live, uint32_t dead);

// ghostLabel of each of `ghosts` (sorted, none of them live), in one walk along both.
std::vector<uint32_t> ghostLabels(const std::vector<Plexo::IpGenPrefix>& ghosts,
                                  const std::map<Plexo::IpGenPrefix, uint32_t>& live,
                                  uint32_t dead);

// Priorities 1..max, strictly decreasing along `order` (the first rule highest). A rule keeps
// the priority it had when that still fits between its neighbours; new rules take values
// spread through the gap; only when a gap is too small are all renumbered. `order` holds at
// most `max` rules.
std::map<uint32_t, uint32_t> assignPriorities(const std::vector<uint32_t>& order,
                                              const std::map<uint32_t, uint32_t>& previous,
                                              uint32_t max);

// The priority of one rule added between the rules above and below it (none at an end), as
// assignPriorities gives it when the others keep theirs; nothing when there is no room.
std::optional<uint32_t> priorityBetween(std::optional<uint32_t> above,
                                        std::optional<uint32_t> below, uint32_t max);

} // namespace Sim::Acl
