#pragma once

#include <vector>

#include "sim/Sim.h"
#include "sim/acl/AclProbes.h"
#include "sim/acl/AclReference.h"

// Where packets can be in the simulator, from what it was told: the interfaces with a chip port
// number and the VLANs they have a VIF on. Port-channels are not places: packets arrive on and
// leave by their members.
namespace Sim::Acl {

// The reference classifier's view of a packet's place, read live from the simulator.
PacketPlace packetPlaceOf(Simulator& s);

// Every port on each VLAN it has a VIF on, in and out (out with that VIF), and in on every
// other VLAN some port has (its routed ACLs do not apply there).
std::vector<ProbePlace> probePlacesOf(Simulator& s);

} // namespace Sim::Acl
