#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "platform/PlexoIpGenPrefix.h"
#include "sim/acl/Acl.h"

// The pure parts of ACL compilation: flat labels for port intervals and prefixes, what a rule
// field expands to, and rule priorities. Nothing here touches a chip.
namespace Sim::Acl {

// Ranges split at every boundary: disjoint intervals, in port order, whose union is the union
// of `ranges`. Each range is exactly a union of some of them.
std::vector<PortRange> elementaryIntervals(const std::set<PortRange>& ranges);

// Labels 1..max for `wanted`: a key keeps the label it had in `previous`; a new key takes the
// lowest label neither kept nor in `avoid`. Nothing when the labels run out.
template <class K>
std::optional<std::map<K, uint32_t>>
stableLabels(const std::set<K>& wanted, const std::map<K, uint32_t>& previous,
             const std::set<uint32_t>& avoid, uint32_t max) {
   std::map<K, uint32_t> out;
   std::set<uint32_t> used = avoid;
   for (const auto& k : wanted) {
      const auto it = previous.find(k);
      if (it != previous.end()) {
         out[k] = it->second;
         used.insert(it->second);
      }
   }
   uint32_t next = 1;
   for (const auto& k : wanted) {
      if (out.count(k)) continue;
      while (next <= max && used.count(next))
         ++next;
      if (next > max) return std::nullopt;
      out[k] = next;
      used.insert(next++);
   }
   return out;
}

// Labels of the intervals inside `r` (intervals are disjoint; `r` is a union of some of them).
std::vector<uint32_t> portLabels(const PortRange& r,
                                 const std::map<PortRange, uint32_t>& intervals);

// Labels of the table's prefixes that lie inside `p`: a packet inside p carries the label of
// its longest match in the table, which is one of these.
std::vector<uint32_t> prefixLabels(const Plexo::IpGenPrefix& p,
                                   const std::map<Plexo::IpGenPrefix, uint32_t>& table);

// The label a prefix no rule uses any more keeps in the table so that it never shadows a
// shorter prefix in use: the label of its longest enclosing live prefix, else `dead` (matched
// by no rule).
uint32_t ghostLabel(const Plexo::IpGenPrefix& ghost,
                    const std::map<Plexo::IpGenPrefix, uint32_t>& live, uint32_t dead);

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
