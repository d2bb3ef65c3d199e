#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
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

// The chip's upper-layer state for `next`, keeping labels, indexes, ids and placements of
// `previous` where they still hold. Throws a Sim::Error when the ACLs do not fit the chip.
ChipPlan compileChip(Simulator& s, uint32_t chip, const std::map<std::string, Acl>& next,
                     const std::map<std::string, std::map<uint32_t, uint32_t>>& priorities,
                     const ChipPlan& previous);

// Publishes what differs between `from` (published) and `to`, in an order that keeps the chip
// consistent throughout. A refusal the chip reports is rolled back and thrown as a Sim::Error.
void publishChip(Simulator& s, uint32_t chip, const ChipPlan& from, const ChipPlan& to);

// Publishes an edit of ACL `name`, already made in the store, on the chips it was or is bound
// to: all are compiled first, then published. A chip that refuses leaves every chip as it was,
// and `undo` takes the edit back. `added` is the rule the edit brought, if any.
void publishEdit(Simulator& s, const std::string& name, const std::set<uint32_t>& chips,
                 std::optional<uint32_t> added, const std::function<void()>& undo);

} // namespace Sim::Acl
