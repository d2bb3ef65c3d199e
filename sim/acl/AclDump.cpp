// The ACLs as the commands that write them, for a cold start of the configuration. The chip
// state the ACL layer published for them is claimed, so that the low-level dumps leave it to
// these commands.
#include "sim/ConfigDump.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclParse.h"

namespace Sim::Acl {

namespace {

constexpr const char* kTable[2] = {"src", "dst"};

void claim(Simulator& s, ConfigDump& d) {
   for (const auto& [chip, plan] : aclStore(s).published) {
      for (int t : {srcTable, dstTable}) {
         for (const auto& [range, label] : plan.ports[t])
            d.claim(ClaimKey::l4Range(kTable[t], chip, range.first, range.last));
         bool v4 = false, v6 = false;
         for (const auto& [prefix, label] : plan.prefixes[t].labels)
            (prefix.isV6() ? v6 : v4) = true;
         // The publisher attempts both families of a table that changes, IPv4 first.
         if (v4 || v6) {
            d.claim(ClaimKey::prefixes(std::string(kTable[t]) + "4", chip));
            d.claim(ClaimKey::prefixes(std::string(kTable[t]) + "6", chip));
         }
      }
      for (const auto& [key, list] : plan.keys) {
         d.claim(ClaimKey::ruleListKey(chip, key.hwAclIndex(), key.protocolType(),
                                       key.tableType(),
                                       key.direction() == Orim::AclDirection::out));
      }
      for (const auto& [list, stages] : plan.stageMg)
         d.claim(ClaimKey::maskGroups(chip, list));
      for (const auto& [intf, index] : plan.intfIndex)
         d.claim(ClaimKey::intfBinding(chip, intf));
      for (const auto& [vlan, index] : plan.vlanIndex)
         d.claim(ClaimKey::vlanBinding(chip, vlan));
      for (const auto& [stage, entries] : plan.entries) {
         for (const auto& [pos, entry] : entries)
            d.claim(ClaimKey::rule(chip, stage, pos.way(), pos.hashIndex()));
      }
   }
}

void dump(Simulator& s, ConfigDump& d) {
   for (const auto& [name, acl] : aclStore(s).acls) {
      for (const auto& [seq, rule] : acl.rules)
         d.line("acl " + name + " rule " + std::to_string(seq) + " " + ruleText(rule));
      for (const auto& b : acl.bindings) {
         d.chipNeeded(b.chip);
         d.line("acl " + name + " bind " + std::to_string(b.chip) +
                (b.kind == BindKind::intf ? " intf " + b.intf : " vlan " + std::to_string(b.vlan)) +
                (b.egress ? " out" : " in"));
      }
   }
}

const ConfigDumperRegistration dumper({"acl", 80, claim, dump});

} // namespace

} // namespace Sim::Acl
