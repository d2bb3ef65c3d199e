#pragma once

#include <string>

#include "platform/Orim.h"
#include "sim/Sim.h"

namespace Sim {

// "key INDEX PROTO TYPE DIR"
std::string mgksKeyText(const Orim::ChipRuleListIdKey& k);

// The driver asserts that an MGKS entry lands where it was asked, never moving another: refuses
// (throws) what would make the chip move one. The place of an entry depends on its match alone.
void checkMgksRoom(Simulator& s, const Orim::ChipId& chip, const Orim::ChipRuleListIdKey& key,
                   const Orim::StageId& stage);

} // namespace Sim
