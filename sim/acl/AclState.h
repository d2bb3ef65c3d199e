#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "norv/Reactor.h"
#include "platform/Orim.h"
#include "platform/OrimRule.h"
#include "sim/acl/Acl.h"

// What the simulator's ACL layer knows: the ACLs as written, and per chip the upper-layer state
// it last published for them. The compiler derives a chip's next state from the ACLs and the
// state before; the publisher writes the difference.
namespace Sim::Acl {

enum PrefixTable { srcTable = 0, dstTable = 1 };

// A chip rule list: one per ACL, direction, kind (port or routed) and address family.
struct ListKey {
   std::string acl;
   bool egress = false;
   bool routed = false;
   bool ipv6 = false;
   auto operator<=>(const ListKey&) const = default;
};

// What a hardware ACL index stands for: an interface's (or a VLAN's) ACL in each direction.
// Interfaces with the same pair share an index.
struct IndexProfile {
   bool routed = false;
   std::string in, out; // ACL names, empty when none
   auto operator<=>(const IndexProfile&) const = default;
};

// One MG-table entry and the rule it came from.
struct PlacedEntry {
   Orim::PerStageTableEntry entry;
   std::string acl;
   uint32_t seq = 0;
   bool operator==(const PlacedEntry&) const = default;
};

// A chip's prefixes in one IP transform table, with their labels. Prefixes no rule uses any
// more stay in the table (`ghosts`) so that an entry the driver leaves behind never shadows a
// prefix in use; they carry the label of their longest live enclosing prefix.
struct PrefixSet {
   std::map<Plexo::IpGenPrefix, uint32_t> labels; // live and ghosts
   std::set<Plexo::IpGenPrefix> ghosts;
   bool operator==(const PrefixSet&) const = default;
};

using Position = Orim::PerStageHashTableKey;

struct ChipPlan {
   std::array<PrefixSet, 2> prefixes;                  // by PrefixTable
   std::array<std::map<PortRange, uint32_t>, 2> ports; // by PrefixTable: interval -> label
   std::map<ListKey, uint32_t> lists;                  // -> chip rule list id
   std::map<uint32_t, std::map<uint32_t, Orim::MaskGroupDescriptor>> stageMg; // list, stage
   std::map<IndexProfile, uint32_t> indexes;                    // -> hardware ACL index
   std::map<Orim::ChipRuleListIdKey, uint32_t> keys;            // -> chip rule list id
   std::map<std::string, uint32_t> intfIndex;                   // interface text -> index
   std::map<uint16_t, uint32_t> vlanIndex;                      // VLAN -> index
   std::map<uint32_t, std::map<Position, PlacedEntry>> entries; // stage, position
   uint32_t nextRuleId = 1;
};

// The ACL layer's memory, held by the simulator's world.
class AclStore : public Norv::Reactor {
public:
   NORV_ENTITY("Sim::Acl::AclStore")
   std::map<std::string, Acl> acls;
   // Per ACL: rule sequence number -> priority, kept stable across edits.
   std::map<std::string, std::map<uint32_t, uint32_t>> priorities;
   // Hits read so far, per ACL and rule.
   std::map<std::pair<std::string, uint32_t>, uint64_t> hits;
   std::map<uint32_t, ChipPlan> published;
};

} // namespace Sim::Acl
