#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "sim/Sim.h"
#include "sim/acl/Acl.h"
#include "sim/acl/AclState.h"

// The simulator's ACL layer: ACLs compiled per chip into the state the layers above the driver
// publish, and published as a difference.
namespace Sim::Acl {

// The ACLs as the chip was last told them.
const std::map<std::string, Acl>& acls(Simulator& s);

// The ACL and rule sequence number of the entry at a chip's stage and hardware index.
std::optional<std::pair<std::string, uint32_t>> ruleAt(Simulator& s, uint32_t chip,
                                                       uint32_t stage, uint32_t hwIndex);

AclStore& aclStore(Simulator& s);

// Priorities of every ACL of `next`, stable against those of `store`.
std::map<std::string, std::map<uint32_t, uint32_t>>
aclPriorities(const AclStore& store, const std::map<std::string, Acl>& next, uint32_t max);

// The chip's upper-layer state for `next`, keeping labels, indexes, ids and placements of
// `previous` where they still hold. Throws a Sim::Error when the ACLs do not fit the chip.
ChipPlan compileChip(Simulator& s, uint32_t chip, const std::map<std::string, Acl>& next,
                     const std::map<std::string, std::map<uint32_t, uint32_t>>& priorities,
                     const ChipPlan& previous);

// Publishes what differs between `from` (published) and `to`, in an order that keeps the chip
// consistent throughout. A refusal the chip reports is rolled back and thrown as a Sim::Error.
void publishChip(Simulator& s, uint32_t chip, const ChipPlan& from, const ChipPlan& to);

// Applies `next` to every chip it or the current ACLs touch: all chips are compiled first, then
// published; a chip that refuses leaves every chip as it was. On success `next` becomes
// current.
void applyAcls(Simulator& s, std::map<std::string, Acl> next);

} // namespace Sim::Acl
