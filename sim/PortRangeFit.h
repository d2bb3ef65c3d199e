#pragma once

#include <optional>

#include "platform/OrimXform.h"

namespace Sim {

// Each port carries one label, so the port ranges of a chip may not meet: the driver aborts on
// ranges that overlap or share a boundary. Returns the range of `ranges` that keeps `r` out
// (the first in key order), or nothing when `r` fits; `r` itself, when present, is relabelled
// and fits. A range whose end is below its start covers the ports between the two.
//
// Ranges admitted this way never meet, so key order is also the order of their ports: only the
// neighbours around r's lowest port need a look, and the check costs two tree descents.
std::optional<Orim::L4PortRange>
portRangeConflict(const Norv::RbTreeMap<Orim::L4PortRange, Orim::XformedPortRange>& ranges,
                  const Orim::L4PortRange& r);

} // namespace Sim
