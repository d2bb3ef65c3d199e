#include "sim/PortRangeFit.h"

#include <algorithm>

namespace Sim {

std::optional<Orim::L4PortRange>
portRangeConflict(const Norv::RbTreeMap<Orim::L4PortRange, Orim::XformedPortRange>& ranges,
                  const Orim::L4PortRange& r) {
   const auto lo = std::min(r.rangeStart, r.rangeEnd), hi = std::max(r.rangeStart, r.rangeEnd);
   auto meets = [&](const Orim::L4PortRange& o) {
      return std::max(o.rangeStart, o.rangeEnd) >= lo &&
             std::min(o.rangeStart, o.rangeEnd) <= hi;
   };
   // The last range that starts below r's lowest port can reach into r from below; the next
   // one is the only other candidate, as the ones after it lie beyond it. When r is present it
   // is that next one: a range starting between r's lowest port and r's start would meet r.
   const auto [below, above] = ranges.neighbours(Orim::L4PortRange{lo, 0});
   if (below && meets(below.key())) return below.key();
   if (!above || above.key() == r) return std::nullopt;
   if (meets(above.key())) return above.key();
   return std::nullopt;
}

} // namespace Sim
