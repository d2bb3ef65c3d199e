#pragma once

#include <cstdint>
#include <string>

#include "platform/Orim.h"
#include "platform/Plexo.h"
#include "platform/PlexoIpGenPrefix.h"
#include "sim/Sim.h"

// Argument readers that several modules share: they name what was expected when a word is
// not what it should be.
namespace Sim {

// "a.b.c.d/n" or an IPv6 prefix, with no bit set beyond its length.
Plexo::IpGenPrefix prefixText(const std::string& w);
// An Ethernet, Port-Channel or VLAN interface.
Plexo::IntfId intfArg(const Args& a, size_t i);
// A VLAN, 1 to 4094.
uint16_t vlanArg(const Args& a, size_t i);
// A stage id: any 32-bit number (the driver checks it against the chip's stages).
Orim::StageId stageArg(const Args& a, size_t i);

} // namespace Sim
