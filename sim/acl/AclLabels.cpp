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
   // +1 at a range's first port, -1 after its last; a cut wherever coverage may change.
   std::vector<std::pair<uint32_t, int>> delta;
   delta.reserve(2 * ranges.size());
   for (const auto& r : ranges) {
      delta.push_back({r.first, 1});
      delta.push_back({uint32_t{r.last} + 1, -1});
   }
   std::sort(delta.begin(), delta.end());
   std::vector<PortRange> out;
   int depth = 0;
   for (size_t i = 0; i < delta.size();) {
      const uint32_t at = delta[i].first;
      for (; i < delta.size() && delta[i].first == at; ++i)
         depth += delta[i].second;
      if (depth > 0 && i < delta.size()) {
         out.push_back({static_cast<uint16_t>(at), static_cast<uint16_t>(delta[i].first - 1)});
      }
   }
   return out;
}

namespace {

template <class It>
void intervalLabels(const PortRange& r, It it, It end, std::vector<uint32_t>& out) {
   for (; it != end; ++it) {
      if (it->first.first > r.last) break;
      if (it->first.last <= r.last) out.push_back(it->second);
   }
}

// The prefixes inside p follow p itself in the table's order (family, address, length).
template <class It>
void containedLabels(const Plexo::IpGenPrefix& p, It it, It end, std::vector<uint32_t>& out) {
   const size_t from = out.size();
   for (; it != end && prefixContains(p, it->first); ++it)
      out.push_back(it->second);
   if (out.size() - from > 1) {
      std::sort(out.begin() + from, out.end());
      out.erase(std::unique(out.begin() + from, out.end()), out.end());
   }
}

} // namespace

std::vector<uint32_t> portLabels(const PortRange& r,
                                 const std::map<PortRange, uint32_t>& intervals) {
   std::vector<uint32_t> out;
   intervalLabels(r, intervals.lower_bound({r.first, 0}), intervals.end(), out);
   return out;
}

void portLabels(const PortRange& r, const FlatIntervals& intervals,
                std::vector<uint32_t>& out) {
   const auto it =
       std::lower_bound(intervals.begin(), intervals.end(), PortRange{r.first, 0},
                        [](const auto& iv, const PortRange& key) { return iv.first < key; });
   intervalLabels(r, it, intervals.end(), out);
}

std::vector<uint32_t> prefixLabels(const Plexo::IpGenPrefix& p,
                                   const std::map<Plexo::IpGenPrefix, uint32_t>& table) {
   std::vector<uint32_t> out;
   containedLabels(p, table.lower_bound(p), table.end(), out);
   return out;
}

void prefixLabels(const Plexo::IpGenPrefix& p, const FlatPrefixes& table,
                  std::vector<uint32_t>& out) {
   const auto it = std::lower_bound(
       table.begin(), table.end(), p,
       [](const auto& entry, const Plexo::IpGenPrefix& key) { return entry.first < key; });
   containedLabels(p, it, table.end(), out);
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
