#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/acl/Acl.h"
#include "xdk/xpPacket.h"

// The reference classifier: evaluates ACLs as written, straight on a packet, without anything
// the chip holds. The packet walk over the chip tables must reach the same verdict.
namespace Sim::Acl {

// What only the simulator knows of a packet's place: the interface behind a chip port, and
// whether that interface is on the packet's VLAN (a routed ACL applies only there).
struct PacketPlace {
   std::function<std::optional<std::string>(uint32_t chip, uint32_t port)> intfOf;
   // Empty: every interface is on every VLAN.
   std::function<bool(uint32_t chip, uint32_t port, uint16_t vlan)> onVlan;
};

// One ACL lookup of a packet: the ACL, the binding that applied it, and its first matching
// rule (none: the ACL has no opinion).
struct RefLookup {
   std::string acl;
   Binding binding;
   std::optional<uint32_t> seq;
   bool permit = true; // the matched rule's action; true without a match
};

struct RefVerdict {
   bool permit = true;
   std::vector<RefLookup> lookups;
};

// An address of `prefix`'s family contains `addr` (words as xpAclPacket keeps them).
bool prefixContains(const Plexo::IpGenPrefix& prefix, const std::array<uint32_t, 4>& addr);
bool ruleMatches(const Rule& rule, const xpAclPacket& pkt);
// The sequence number of the first rule of `acl` the packet matches.
std::optional<uint32_t> firstMatch(const Acl& acl, const xpAclPacket& pkt);
// Every ACL bound where the packet is, in its direction; deny when any of their first matches
// denies, permit otherwise (a packet no rule matches is permitted).
RefVerdict classify(const std::map<std::string, Acl>& acls, const xpAclPacket& pkt,
                    const PacketPlace& place);

} // namespace Sim::Acl
