#pragma once

#include <string>

#include "sim/Sim.h"
#include "sim/acl/Acl.h"

namespace Sim::Acl {

// The rule written in words `from` on: permit|deny [count] [log] ip|ipv6 then the matches, each
// at most once and in any order. Throws a Sim::Error that names the offending word.
Rule parseRule(const Args& a, size_t from);

// The rule as an engineer writes it, matches in their canonical order.
std::string ruleText(const Rule& r);

// Whether `inner` lies inside `outer` (same family, at least as long, same leading bits).
bool prefixContains(const Plexo::IpGenPrefix& outer, const Plexo::IpGenPrefix& inner);

} // namespace Sim::Acl
