#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "sim/PortRangeFit.h"

namespace {

using Orim::L4PortRange;
using Ranges = Norv::RbTreeMap<L4PortRange, Orim::XformedPortRange>;

// The rule spelled out over every range: the first in key order that is not r and shares r's
// start or any of its ports.
std::optional<L4PortRange> bruteConflict(const Ranges& ranges, const L4PortRange& r) {
   const auto lo = std::min(r.rangeStart, r.rangeEnd), hi = std::max(r.rangeStart, r.rangeEnd);
   for (auto it = ranges.begin(); it; ++it) {
      const auto& o = it.key();
      if (o == r) continue;
      if (o.rangeStart == r.rangeStart || (std::max(o.rangeStart, o.rangeEnd) >= lo &&
                                           std::min(o.rangeStart, o.rangeEnd) <= hi))
         return o;
   }
   return std::nullopt;
}

TEST(PortRangeFit, AgreesWithTheRuleOverEveryRange) {
   std::mt19937 rng(7);
   for (const uint32_t space : {40u, 400u, 65536u}) {
      SCOPED_TRACE(space);
      Ranges ranges;
      int admitted = 0, refused = 0;
      for (int step = 0; step < 20000; ++step) {
         // Narrow ranges mostly, some reversed, some wide; ports near both ends of the space.
         const auto a = static_cast<uint16_t>(rng() % space);
         const uint32_t width = rng() % 8 == 0 ? rng() % space : rng() % 4;
         auto b = static_cast<uint16_t>(std::min<uint32_t>(a + width, space - 1));
         L4PortRange r = rng() % 5 == 0 ? L4PortRange{b, a} : L4PortRange{a, b};
         if (rng() % 4 == 0 && !ranges.empty()) {
            // Relabel or remove a present range.
            auto it = ranges.lowerBound(r);
            if (!it) it = ranges.begin();
            r = it.key();
            if (rng() % 2) {
               ranges.erase(r);
               continue;
            }
         }
         const auto expected = bruteConflict(ranges, r);
         const auto got = Sim::portRangeConflict(ranges, r);
         ASSERT_EQ(got, expected) << r.text();
         if (got) {
            ++refused;
         } else {
            ++admitted;
            ranges[r] = Orim::XformedPortRange{static_cast<uint16_t>(step)};
         }
      }
      EXPECT_GT(admitted, 100);
      EXPECT_GT(refused, 100);
   }
}

} // namespace
