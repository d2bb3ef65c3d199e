// ACLs in the simulator: the `acl` commands, `show acl`, and the store that remembers what was
// published for them on each chip.
#include <set>

#include "sim/SimArgs.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclParse.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"

namespace Sim::Acl {

namespace {

constexpr uint32_t kDefaultPriorityMax = 0x1fff;

bool directionArg(const Args& a, size_t i) {
   const std::string& w = a.word(i, "direction (in or out)");
   if (w != "in" && w != "out") throw Error("bad direction '" + w + "': expected in or out");
   return w == "out";
}

std::string bindingText(const Binding& b) {
   return "chip " + std::to_string(b.chip) +
          (b.kind == BindKind::intf ? " intf " + b.intf : " vlan " + std::to_string(b.vlan)) +
          (b.egress ? " out" : " in");
}

// CHIP intf INTF in|out, or CHIP vlan VLAN in|out.
Binding bindingArgs(Simulator& s, const Args& a, size_t i) {
   Binding b;
   b.chip = knownChipArg(s, a, i).value();
   const std::string& kind = a.word(i + 1, "intf or vlan");
   if (kind == "intf") {
      const Plexo::IntfId intf = intfArg(a, i + 2);
      if (intf.isVlanIntf()) {
         throw Error(intf.text() + " is a VLAN: bind its routed ACL with 'vlan " +
                     intf.vlanId().text() + "'");
      }
      b.kind = BindKind::intf;
      b.intf = intf.text();
   } else if (kind == "vlan") {
      b.kind = BindKind::vlan;
      b.vlan = vlanArg(a, i + 2);
   } else {
      throw Error("bad binding '" + kind + "': expected intf or vlan");
   }
   b.egress = directionArg(a, i + 3);
   a.atMost(i + 4);
   return b;
}

uint32_t seqArg(const Args& a, size_t i) {
   return static_cast<uint32_t>(a.number(i, "sequence number", 0xffffffff));
}

// An ACL with neither rules nor bindings no longer exists.
void dropIfEmpty(std::map<std::string, Acl>& acls, const std::string& name) {
   const auto it = acls.find(name);
   if (it != acls.end() && it->second.rules.empty() && it->second.bindings.empty())
      acls.erase(it);
}

Acl& existing(std::map<std::string, Acl>& acls, const std::string& name) {
   const auto it = acls.find(name);
   if (it == acls.end()) throw Error("no ACL named '" + name + "'");
   return it->second;
}

void aclCommand(Simulator& s, const Args& a) {
   const std::string name = a.word(0, "ACL name");
   const std::string verb = a.word(1, "rule, no-rule, bind, unbind or remove");
   auto next = aclStore(s).acls;
   if (verb == "rule") {
      const uint32_t seq = seqArg(a, 2);
      Acl& acl = next[name];
      acl.name = name;
      acl.rules[seq] = parseRule(a, 3);
   } else if (verb == "no-rule") {
      const uint32_t seq = seqArg(a, 2);
      a.atMost(3);
      Acl& acl = existing(next, name);
      if (!acl.rules.erase(seq)) {
         throw Error("ACL " + name + " has no rule " + std::to_string(seq));
      }
      dropIfEmpty(next, name);
   } else if (verb == "bind" || verb == "unbind") {
      const Binding b = bindingArgs(s, a, 2);
      if (verb == "bind") {
         for (const auto& [other, acl] : next) {
            for (const auto& o : acl.bindings) {
               if (o == b)
                  throw Error("ACL " + other + " is already bound to " + bindingText(b));
            }
         }
         Acl& acl = next[name];
         acl.name = name;
         acl.bindings.insert(b);
      } else {
         if (!existing(next, name).bindings.erase(b)) {
            throw Error("ACL " + name + " is not bound to " + bindingText(b));
         }
         dropIfEmpty(next, name);
      }
   } else if (verb == "remove") {
      a.atMost(2);
      existing(next, name);
      next.erase(name);
   } else {
      throw Error("unknown acl verb '" + verb +
                  "': expected rule, no-rule, bind, unbind or remove");
   }
   applyAcls(s, std::move(next));
}

void showAcl(Simulator& s, const Args& a) {
   const std::string name = a.word(0, "ACL name");
   a.atMost(1);
   AclStore& store = aclStore(s);
   const Acl& acl = existing(store.acls, name);
   // Where each rule's entries landed, and what its counted entries hit since the last look.
   auto helper = s.world().get<XpAcl::MgTableHelper>("mgTableHelper");
   std::map<uint32_t, std::vector<std::string>> where;
   for (const auto& [chip, plan] : store.published) {
      for (const auto& [stage, entries] : plan.entries) {
         std::map<uint32_t, std::vector<uint32_t>> indexes;
         for (const auto& [pos, pe] : entries) {
            if (pe.acl != name) continue;
            indexes[pe.seq].push_back(XpAcl::MgTableHelper::hwIndex(pos));
            if (pe.entry.counting()) {
               store.hits[{name, pe.seq}] += helper->getDeltaCounter(
                   Orim::ChipId(chip), pe.entry.aclId(), pe.entry.ruleId());
            }
         }
         for (auto& [seq, list] : indexes) {
            std::sort(list.begin(), list.end());
            std::string line =
                "chip " + std::to_string(chip) + " stage " + std::to_string(stage) + " hw";
            for (uint32_t i : list)
               line += " " + std::to_string(i);
            where[seq].push_back(line);
         }
      }
   }
   auto& o = s.out();
   o << "acl " << name << ": " << acl.rules.size() << " rules\n";
   for (const auto& b : acl.bindings)
      o << "  bound " << bindingText(b) << "\n";
   for (const auto& [seq, r] : acl.rules) {
      o << "  rule " << seq << " " << ruleText(r);
      if (r.count) o << " (hits " << store.hits[{name, seq}] << ")";
      o << "\n";
      for (const auto& line : where[seq])
         o << "    " << line << "\n";
      if (where[seq].empty() && !acl.bindings.empty()) {
         o << "    no entry: every key it matches belongs to an earlier rule\n";
      }
   }
}

void start(Simulator& s) {
   s.world().hold("aclStore", Norv::Ptr<AclStore>(new AclStore()));
   s.addCommand(
       {"acl", "",
        "NAME rule SEQ permit|deny [count] [log] ip|ipv6 [src PREFIX] [dst PREFIX] "
        "[proto N|tcp|udp|icmp] [sport P|P-Q] [dport P|P-Q] [ttl N] [fragment] [established]"
        " | NAME no-rule SEQ | NAME bind|unbind CHIP intf INTF|vlan VLAN in|out | NAME remove",
        "write an ACL rule, take one out, bind or unbind the ACL, or remove it", aclCommand});
   s.addCommand({"show", "acl", "NAME",
                 "the ACL's rules, where their entries landed, and their hits", showAcl});
}

const char* const scenario =
    R"(# ACLs: written as rules, compiled into labels, rule lists, mask groups and entries, bound.
echo == acl: an ACL written, bound, changed and removed
device add 4
device up 4
intf add Ethernet40 4
hwacl port Ethernet40 40
acl web rule 10 deny count ip src 10.1.0.0/16 proto tcp dport 22
acl web rule 20 permit count ip dst 192.168.0.0/16 proto tcp dport 80-443
acl web rule 30 deny ip
acl web bind 4 intf Ethernet40 in
show acl web
show port-acl 4
show sdk
echo -- a rule changes its port range: only its entries move
acl web rule 20 permit count ip dst 192.168.0.0/16 proto tcp dport 80-8080
show sdk
echo -- the ACL goes: its binding first, then its entries, keys and lists
acl web remove
show port-acl 4
show sdk
)";

const ModuleRegistration reg({"acl", 80, start, scenario});

} // namespace

AclStore& aclStore(Simulator& s) {
   return *s.world().get<AclStore>("aclStore");
}

const std::map<std::string, Acl>& acls(Simulator& s) {
   return aclStore(s).acls;
}

std::optional<std::pair<std::string, uint32_t>> ruleAt(Simulator& s, uint32_t chip,
                                                       uint32_t stage, uint32_t hwIndex) {
   const AclStore& store = aclStore(s);
   const auto plan = store.published.find(chip);
   if (plan == store.published.end()) return std::nullopt;
   const auto entries = plan->second.entries.find(stage);
   if (entries == plan->second.entries.end()) return std::nullopt;
   const Position pos(hwIndex >> XpAcl::MgTableHelper::kWayShift,
                      hwIndex & ((1u << XpAcl::MgTableHelper::kWayShift) - 1));
   const auto it = entries->second.find(pos);
   if (it == entries->second.end()) return std::nullopt;
   return std::make_pair(it->second.acl, it->second.seq);
}

void applyAcls(Simulator& s, std::map<std::string, Acl> next) {
   if (s.world().batch.isOpen()) {
      throw Error("ACLs are published outside batches: close the batch first");
   }
   AclStore& store = aclStore(s);
   std::set<uint32_t> chips;
   for (const auto* set : {&store.acls, &next}) {
      for (const auto& [name, acl] : *set) {
         for (const auto& b : acl.bindings)
            chips.insert(b.chip);
      }
   }
   uint32_t max = kDefaultPriorityMax;
   for (uint32_t chip : chips) {
      if (auto cap = s.world().hwCapabilityColl->chipHwCapability(Orim::ChipId(chip)))
         max = std::min<uint32_t>(max, cap->priorityFieldMaxCount());
   }
   const auto priorities = aclPriorities(store, next, max);
   std::map<uint32_t, ChipPlan> plans;
   for (uint32_t chip : chips)
      plans[chip] = compileChip(s, chip, next, priorities, store.published[chip]);
   std::vector<uint32_t> done;
   try {
      for (uint32_t chip : chips) {
         publishChip(s, chip, store.published[chip], plans[chip]);
         done.push_back(chip);
      }
   } catch (const Error&) {
      for (auto it = done.rbegin(); it != done.rend(); ++it)
         publishChip(s, *it, plans[*it], store.published[*it]);
      throw;
   }
   for (auto& [chip, plan] : plans)
      store.published[chip] = std::move(plan);
   // Hits of rules that are gone go with them.
   for (auto it = store.hits.begin(); it != store.hits.end();) {
      const auto acl = next.find(it->first.first);
      const bool kept = acl != next.end() && acl->second.rules.count(it->first.second);
      it = kept ? std::next(it) : store.hits.erase(it);
   }
   store.acls = std::move(next);
   store.priorities = priorities;
}

} // namespace Sim::Acl
