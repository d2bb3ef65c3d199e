#pragma once

#include <cstdint>

#include "norv/Attributes.h"

namespace XpAcl {

// The boundaries of a chip's port ranges, in ascending order: the sweep of stale port entries
// walks starts and ends side by side to find the gaps between ranges.
class PortRangeColl : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::PortRangeColl")
   NORV_PLAIN_COLL(rangeStart, RangeStart, uint16_t, bool, Norv::RbTreeMap)
   NORV_PLAIN_COLL(rangeEnd, RangeEnd, uint16_t, bool, Norv::RbTreeMap)
};

Norv::Ptr<PortRangeColl> portRangeCollFactory();

} // namespace XpAcl
