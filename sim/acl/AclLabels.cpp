#include "sim/acl/AclLabels.h"

#include <algorithm>

#include "sim/acl/AclParse.h"

namespace Sim::Acl {

namespace {
// The priority distance between rules added at either end of an ACL.
constexpr uint64_t kEndStep = 16;
} // namespace

std::vector<PortRange> elementaryIntervals(const std::set<PortRange>& ranges) {
   // +1 at a range's first port, -1 after its last; a cut wherever coverage may change.
   std::map<uint32_t, int> delta;
   for (const auto& r : ranges) {
      ++delta[r.first];
      --delta[uint32_t{r.last} + 1];
   }
   std::vector<PortRange> out;
   int depth = 0;
   for (auto it = delta.begin(); it != delta.end(); ++it) {
      depth += it->second;
      const auto next = std::next(it);
      if (depth > 0 && next != delta.end()) {
         out.push_back(
             {static_cast<uint16_t>(it->first), static_cast<uint16_t>(next->first - 1)});
      }
   }
   return out;
}

std::vector<uint32_t> portLabels(const PortRange& r,
                                 const std::map<PortRange, uint32_t>& intervals) {
   std::vector<uint32_t> out;
   for (auto it = intervals.lower_bound({r.first, 0}); it != intervals.end(); ++it) {
      if (it->first.first > r.last) break;
      if (it->first.last <= r.last) out.push_back(it->second);
   }
   return out;
}

std::vector<uint32_t> prefixLabels(const Plexo::IpGenPrefix& p,
                                   const std::map<Plexo::IpGenPrefix, uint32_t>& table) {
   std::vector<uint32_t> out;
   // Order is family, address, length: the prefixes inside p follow p itself.
   for (auto it = table.lower_bound(p); it != table.end() && prefixContains(p, it->first); ++it)
      out.push_back(it->second);
   std::sort(out.begin(), out.end());
   out.erase(std::unique(out.begin(), out.end()), out.end());
   return out;
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
   bool fits = true;
   for (size_t i = 0; i < order.size() && fits;) {
      if (kept[i]) {
         out[order[i]] = *kept[i];
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
         out[order[i + k]] = static_cast<uint32_t>(
             atEnd ? (fromBelow ? lo + (n - k) * step : hi - (k + 1) * step)
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
      out[order[k]] = static_cast<uint32_t>(max + 1 - (k + 1) * (max + 1) / gaps);
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
