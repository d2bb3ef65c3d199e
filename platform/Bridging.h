#pragma once

#include <cstdint>

#include "norv/RangeInt.h"

namespace Bridging {

struct VlanIdTag {
   static constexpr const char* rangeError = "VlanId::value < 1 or > 4094 not allowed";
};
// A VLAN, 1 to 4094.
using VlanId = Norv::RangeInt<VlanIdTag, uint16_t, 1, 4094>;

struct VlanIdOrNoneTag {
   static constexpr const char* rangeError = "VlanIdOrNone::value > 4094 not allowed";
};
// A VLAN or none (0).
using VlanIdOrNone = Norv::RangeInt<VlanIdOrNoneTag, uint16_t, 0, 4094>;

} // namespace Bridging
