#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

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

// The same over the intervals flattened in port order, appended to `out`.
using FlatIntervals = std::vector<std::pair<PortRange, uint32_t>>;
void portLabels(const PortRange& r, const FlatIntervals& intervals, std::vector<uint32_t>& out);

// Labels of the table's prefixes that lie inside `p`: a packet inside p carries the label of
// its longest match in the table, which is one of these.
std::vector<uint32_t> prefixLabels(const Plexo::IpGenPrefix& p,
                                   const std::map<Plexo::IpGenPrefix, uint32_t>& table);

// The same over a table flattened in prefix order, appended to `out`.
using FlatPrefixes = std::vector<std::pair<Plexo::IpGenPrefix, uint32_t>>;
void prefixLabels(const Plexo::IpGenPrefix& p, const FlatPrefixes& table,
                  std::vector<uint32_t>& out);

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
