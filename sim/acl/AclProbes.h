#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sim/acl/Acl.h"
#include "xdk/xpPacket.h"

// Probe packets for ACLs: packets that sit on the edges of what each rule matches, so that a
// classifier that gets a boundary, a field or an order wrong is caught, plus random ones.
namespace Sim::Acl {

// A place a packet can be at: device, direction, port, VLAN and (egress) VIF set in `at`, with
// the interface behind the port.
struct ProbePlace {
   xpAclPacket at;
   std::string intf;
   bool onVlan = true; // the interface is on the VLAN: its routed ACLs apply
};

// Probes for every rule of `acls`, at places where its ACL is bound (any place when it is bound
// nowhere): a packet the rule matches, and from it, one field at a time, the first and last
// address of each prefix and the addresses just outside, the bounds of each port range and the
// ports just outside, the TTL and its neighbours, the fragment and established variants. Then
// `randomCount` random packets, most with addresses and ports drawn near the ACLs' own.
std::vector<xpAclPacket> probePackets(const std::map<std::string, Acl>& acls,
                                      const std::vector<ProbePlace>& places, uint64_t seed,
                                      size_t randomCount);

// One of the given places, as a packet can be there: `binding` applies at it.
bool placeUnder(const ProbePlace& place, const Binding& binding);

// The packet as words a scenario can replay (the simulator's `packet` command).
std::string packetText(const xpAclPacket& pkt, const std::string& intf);

} // namespace Sim::Acl
