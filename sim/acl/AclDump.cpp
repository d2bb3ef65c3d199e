// The ACLs as the commands that write them, for a cold start of the configuration. The chip
// state the ACL layer published for them is claimed, so that the low-level dumps leave it to
// these commands; and what the layer's own order leaves unlike a cold start is named.
#include "sim/ConfigDump.h"
#include "sim/Verify.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclParse.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

namespace Sim::Acl {

namespace {

constexpr const char* kTable[2] = {"src", "dst"};

void claim(Simulator& s, ConfigDump& d) {
   for (const auto& [chip, plan] : aclStore(s).published) {
      for (int t : {srcTable, dstTable}) {
         for (const auto& [range, label] : plan.ports[t])
            d.claim(ClaimKey::l4Range(kTable[t], chip, range.first, range.last));
         // A family the layer holds prefixes of is its own; one it never held it leaves as it
         // finds it.
         bool v4 = false, v6 = false;
         for (const auto& [prefix, label] : plan.prefixes[t].labels)
            (prefix.isV6() ? v6 : v4) = true;
         if (v4) d.claim(ClaimKey::prefixes(std::string(kTable[t]) + "4", chip));
         if (v6) d.claim(ClaimKey::prefixes(std::string(kTable[t]) + "6", chip));
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
                (b.kind == BindKind::intf ? " intf " + b.intf
                                          : " vlan " + std::to_string(b.vlan)) +
                (b.egress ? " out" : " in"));
      }
   }
}

const PrefixSet* publishedPrefixes(Simulator& s, uint32_t chip, bool src) {
   const auto& published = aclStore(s).published;
   const auto plan = published.find(chip);
   return plan == published.end() ? nullptr : &plan->second.prefixes[src ? srcTable : dstTable];
}

constexpr const char* kGhostCause =
    "the ACL layer keeps a prefix no rule uses any more, so that no entry the driver leaves "
    "behind shadows a prefix in use; a cold start has none";

// A ghost's entry, which the cold start does not write.
std::string ghostEntry(Simulator& s, const xpChipDifference& d) {
   const bool src = d.table == "xpIpXformMgr.src";
   if ((!src && d.table != "xpIpXformMgr.dst") || !d.live || d.cold) return "";
   const PrefixSet* set = publishedPrefixes(s, d.device, src);
   if (!set) return "";
   for (const auto& ghost : set->ghosts) {
      xpIpXformSlot slot;
      slot.valid = true;
      XpAcl::buildXformEntry(ghost, set->labels.at(ghost), slot.entry);
      if (xpChipSnapshot::ipXformText(slot) == d.live->value) return kGhostCause;
   }
   return "";
}

// The acknowledgement of a request whose prefixes were all ghosts.
std::string ghostAck(Simulator& s, const std::string& sm, uint32_t chip) {
   if (sm.find("PrefixXformSm") == std::string::npos) return "";
   const PrefixSet* set = publishedPrefixes(s, chip, sm.rfind("Src", 0) == 0);
   if (!set || set->labels.empty() || set->labels.size() != set->ghosts.size()) return "";
   return kGhostCause;
}

const ConfigDumperRegistration dumper({"acl", 80, claim, dump});
const VerifyCauseRegistration causes({ghostEntry, ghostAck});

} // namespace

} // namespace Sim::Acl
