#include "sim/PortRangeFit.h"

#include <algorithm>

namespace Sim {

std::optional<Orim::L4PortRange>
portRangeConflict(const Norv::RbTreeMap<Orim::L4PortRange, Orim::XformedPortRange>& ranges,
                  const Orim::L4PortRange& r) {
   if (ranges.contains(r)) return std::nullopt;
   const auto lo = std::min(r.rangeStart, r.rangeEnd), hi = std::max(r.rangeStart, r.rangeEnd);
   auto meets = [&](const Orim::L4PortRange& o) {
      return std::max(o.rangeStart, o.rangeEnd) >= lo &&
             std::min(o.rangeStart, o.rangeEnd) <= hi;
   };
   // The last range that starts below r's lowest port can reach into r from below; the first
   // that starts at or above it is the only other candidate, as the ones after it lie beyond.
   const Orim::L4PortRange lowest{lo, 0};
   if (auto below = ranges.lastBelow(lowest); below && meets(below.key())) return below.key();
   if (auto above = ranges.lowerBound(lowest); above && meets(above.key())) return above.key();
   return std::nullopt;
}

} // namespace Sim
