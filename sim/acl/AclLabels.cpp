#include "sim/acl/AclLabels.h"

#include <algorithm>

#include "sim/acl/AclParse.h"

namespace Sim::Acl {

namespace {
// The priority distance between rules added at either end of an ACL.
constexpr uint64_t kEndStep = 16;
} // namespace

std::vector<PortRange> elementaryIntervals(const std::set<PortRange>& ranges) {
   return elementaryIntervals(std::vector<PortRange>(ranges.begin(), ranges.end()));
}

std::vector<PortRange> elementaryIntervals(const std::vector<PortRange>& ranges) {
   // Coverage may change at a range's first port and just after its last: the two lists of
   // cuts, each sorted (rules written in port order need no sorting), are merged.
   std::vector<uint32_t> starts, ends;
   starts.reserve(ranges.size());
   ends.reserve(ranges.size());
   for (const auto& r : ranges) {
      starts.push_back(r.first);
      ends.push_back(uint32_t{r.last} + 1);
   }
   for (auto* v : {&starts, &ends}) {
      if (!std::is_sorted(v->begin(), v->end())) std::sort(v->begin(), v->end());
   }
   // Every range ends after it starts, so ends outlast starts.
   const auto next = [&](size_t i, size_t j) {
      return i < starts.size() ? std::min(starts[i], ends[j]) : ends[j];
   };
   std::vector<PortRange> out;
   int depth = 0;
   for (size_t i = 0, j = 0; j < ends.size();) {
      const uint32_t at = next(i, j);
      for (; i < starts.size() && starts[i] == at; ++i)
         ++depth;
      for (; j < ends.size() && ends[j] == at; ++j)
         --depth;
      if (depth > 0) {
         out.push_back({static_cast<uint16_t>(at), static_cast<uint16_t>(next(i, j) - 1)});
      }
   }
   return out;
}

namespace {

// Sorts and dedups what `out` gained since `from`: most prefixes and ranges expand to one
// label, which needs neither.
void sortUniqueFromSlow(std::vector<uint32_t>& out, size_t from) {
   std::sort(out.begin() + from, out.end());
   out.erase(std::unique(out.begin() + from, out.end()), out.end());
}
inline void sortUniqueFrom(std::vector<uint32_t>& out, size_t from) {
   if (out.size() - from > 1) sortUniqueFromSlow(out, from);
}

} // namespace

std::vector<uint32_t> portLabels(const PortRange& r,
                                 const std::map<PortRange, uint32_t>& intervals) {
   std::vector<uint32_t> out;
   for (auto it = intervals.lower_bound({r.first, 0}); it != intervals.end(); ++it) {
      if (it->first.first > r.last) break;
      if (it->first.last <= r.last) out.push_back(it->second);
   }
   return out;
}

FlatIntervals::FlatIntervals(const std::map<PortRange, uint32_t>& table) {
   intervals.reserve(table.size());
   labels.reserve(table.size());
   for (const auto& [r, l] : table) {
      intervals.push_back(r);
      labels.push_back(l);
   }
}

void portLabels(const PortRange& r, const FlatIntervals& table, std::vector<uint32_t>& out) {
   // Intervals are disjoint: their first ports alone order them.
   const auto& iv = table.intervals;
   const auto from = std::partition_point(
       iv.begin(), iv.end(), [&](const PortRange& x) { return x.first < r.first; });
   for (auto it = from; it != iv.end() && it->first <= r.last; ++it) {
      if (it->last <= r.last) out.push_back(table.labels[it - iv.begin()]);
   }
}

std::vector<uint32_t> prefixLabels(const Plexo::IpGenPrefix& p,
                                   const std::map<Plexo::IpGenPrefix, uint32_t>& table) {
   std::vector<uint32_t> out;
   // The prefixes inside p follow p itself in the table's order (family, address, length).
   for (auto it = table.lower_bound(p); it != table.end() && prefixContains(p, it->first); ++it)
      out.push_back(it->second);
   sortUniqueFrom(out, 0);
   return out;
}

PrefixKey::PrefixKey(const Plexo::IpGenPrefix& p)
    : type(static_cast<uint8_t>(p.type())), len(p.len()) {
   if (p.isV4()) {
      lo = p.v4Prefix().address;
      bits = static_cast<uint8_t>(96 + std::min<unsigned>(len, 32));
      return;
   }
   const auto w = p.v6Prefix().address;
   hi = uint64_t{w[0]} << 32 | w[1];
   lo = uint64_t{w[2]} << 32 | w[3];
   bits = static_cast<uint8_t>(std::min<unsigned>(len, 128));
}

std::vector<Plexo::IpGenPrefix> sortedUnique(std::vector<Plexo::IpGenPrefix> prefixes) {
   // Rules are often written in address order: such a list needs no sorting.
   if (std::is_sorted(prefixes.begin(), prefixes.end())) {
      prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
      return prefixes;
   }
   std::vector<Plexo::IpGenPrefix> out;
   out.reserve(prefixes.size());
   const bool v4 = std::all_of(prefixes.begin(), prefixes.end(),
                               [](const Plexo::IpGenPrefix& p) { return p.isV4(); });
   if (v4 && prefixes.size() < (size_t{1} << 24)) {
      // IPv4 prefixes sort as one number each: address, length, then where the prefix is.
      std::vector<uint64_t> keyed;
      keyed.reserve(prefixes.size());
      for (uint32_t i = 0; i < prefixes.size(); ++i) {
         const auto p = prefixes[i].v4Prefix();
         keyed.push_back(uint64_t{p.address} << 32 | uint64_t{p.len} << 24 | i);
      }
      std::sort(keyed.begin(), keyed.end());
      for (size_t i = 0; i < keyed.size(); ++i) {
         if (i == 0 || keyed[i] >> 24 != keyed[i - 1] >> 24)
            out.push_back(prefixes[keyed[i] & 0xffffff]);
      }
      return out;
   }
   std::vector<std::pair<PrefixKey, uint32_t>> keyed;
   keyed.reserve(prefixes.size());
   for (uint32_t i = 0; i < prefixes.size(); ++i)
      keyed.emplace_back(PrefixKey(prefixes[i]), i);
   std::sort(keyed.begin(), keyed.end(),
             [](const auto& a, const auto& b) { return a.first < b.first; });
   for (size_t i = 0; i < keyed.size(); ++i) {
      if (i == 0 || !(keyed[i].first == keyed[i - 1].first))
         out.push_back(prefixes[keyed[i].second]);
   }
   return out;
}

FlatPrefixes::FlatPrefixes(const std::map<Plexo::IpGenPrefix, uint32_t>& table) {
   keys.reserve(table.size());
   labels.reserve(table.size());
   at.reserve(table.size());
   for (const auto& [p, l] : table) {
      at.insert(keys.emplace_back(p), static_cast<uint32_t>(labels.size()));
      labels.push_back(l);
   }
}

void prefixLabels(const Plexo::IpGenPrefix& p, const FlatPrefixes& table,
                  std::vector<uint32_t>& out) {
   const PrefixKey key(p);
   const size_t from = out.size();
   const auto& keys = table.keys;
   const uint32_t* found = table.at.find(key);
   for (auto it = found ? keys.begin() + *found
                        : std::lower_bound(keys.begin(), keys.end(), key);
        it != keys.end() && key.contains(*it); ++it)
      out.push_back(table.labels[it - keys.begin()]);
   sortUniqueFrom(out, from);
}

uint32_t ghostLabel(const Plexo::IpGenPrefix& ghost,
                    const std::map<Plexo::IpGenPrefix, uint32_t>& live, uint32_t dead) {
   uint32_t label = dead;
   int best = -1;
   for (const auto& [p, l] : live) {
      if (p.len() > best && prefixContains(p, ghost) && p != ghost) {
         best = p.len();
         label = l;
      }
   }
   return label;
}

std::vector<uint32_t> ghostLabels(const std::vector<Plexo::IpGenPrefix>& ghosts,
                                  const std::map<Plexo::IpGenPrefix, uint32_t>& live,
                                  uint32_t dead) {
   // In prefix order a prefix's enclosing prefixes come before it, and the prefixes inside one
   // follow it without a gap: the live prefixes enclosing the current one form a stack, the
   // longest on top.
   std::vector<std::pair<PrefixKey, uint32_t>> open;
   std::vector<uint32_t> out;
   out.reserve(ghosts.size());
   const auto enter = [&](const PrefixKey& k) {
      while (!open.empty() && !open.back().first.contains(k))
         open.pop_back();
   };
   auto it = live.begin();
   for (const auto& g : ghosts) {
      for (; it != live.end() && it->first < g; ++it) {
         const PrefixKey k(it->first);
         enter(k);
         open.emplace_back(k, it->second);
      }
      enter(PrefixKey(g));
      out.push_back(open.empty() ? dead : open.back().second);
   }
   return out;
}

std::map<uint32_t, uint32_t> assignPriorities(const std::vector<uint32_t>& order,
                                              const std::map<uint32_t, uint32_t>& previous,
                                              uint32_t max) {
   // Keep the previous priorities that still descend along the order.
   std::vector<std::optional<uint32_t>> kept(order.size());
   uint32_t above = max + 1;
   for (size_t i = 0; i < order.size(); ++i) {
      const auto it = previous.find(order[i]);
      if (it != previous.end() && it->second < above && it->second >= 1) {
         kept[i] = it->second;
         above = it->second;
      }
   }
   std::map<uint32_t, uint32_t> out;
   // Rules come in sequence order, so each goes at the end of the map.
   const auto put = [&](uint32_t seq, uint64_t priority) {
      out.emplace_hint(out.end(), seq, static_cast<uint32_t>(priority));
   };
   bool fits = true;
   for (size_t i = 0; i < order.size() && fits;) {
      if (kept[i]) {
         put(order[i], *kept[i]);
         ++i;
         continue;
      }
      size_t j = i;
      while (j < order.size() && !kept[j])
         ++j;
      const uint32_t hi = i == 0 ? max + 1 : *kept[i - 1];
      const uint32_t lo = j == order.size() ? 0 : *kept[j];
      const uint64_t n = j - i;
      if (hi - lo - 1 < n) {
         fits = false;
         break;
      }
      // A run at an end steps away from its one neighbour, leaving room for more rules
      // there; a run between two neighbours spreads evenly through the gap.
      const uint64_t even = (hi - lo) / (n + 1);
      const bool atEnd = i == 0 || j == order.size();
      const uint64_t step = atEnd ? std::min<uint64_t>(kEndStep, even) : even;
      for (uint64_t k = 0; k < n; ++k) {
         const bool fromBelow = i == 0 && j < order.size();
         put(order[i + k], atEnd ? (fromBelow ? lo + (n - k) * step : hi - (k + 1) * step)
                                 : hi - (k + 1) * (hi - lo) / (n + 1));
      }
      i = j;
   }
   if (fits) return out;
   // Renumbered from the top with twice the rules' spacing where the field allows, leaving the
   // lower half for rules that come after.
   out.clear();
   const uint64_t n = order.size();
   const uint64_t gaps = max + 1 >= 2 * n + 1 ? 2 * n + 1 : n + 1;
   for (uint64_t k = 0; k < n; ++k)
      put(order[k], max + 1 - (k + 1) * (max + 1) / gaps);
   return out;
}

std::optional<uint32_t> priorityBetween(std::optional<uint32_t> above,
                                        std::optional<uint32_t> below, uint32_t max) {
   const uint64_t hi = above ? *above : uint64_t{max} + 1;
   const uint64_t lo = below ? *below : 0;
   if (hi - lo < 2) return std::nullopt;
   const uint64_t even = (hi - lo) / 2;
   if (above && below) return static_cast<uint32_t>(hi - even);
   const uint64_t step = std::min<uint64_t>(kEndStep, even);
   return static_cast<uint32_t>(!above && below ? lo + step : hi - step);
}

} // namespace Sim::Acl
