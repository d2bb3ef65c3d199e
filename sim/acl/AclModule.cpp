// ACLs in the simulator: the `acl` commands, `show acl`, and the store that remembers what was
// published for them on each chip.
#include <functional>
#include <memory>
#include <set>

#include "sim/SimArgs.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclLabels.h"
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

Acl& existing(std::map<std::string, Acl>& acls, const std::string& name) {
   const auto it = acls.find(name);
   if (it == acls.end()) throw Error("no ACL named '" + name + "'");
   return it->second;
}

std::set<uint32_t> chipsOf(const std::map<std::string, Acl>& acls, const std::string& name) {
   std::set<uint32_t> chips;
   const auto it = acls.find(name);
   if (it != acls.end()) {
      for (const auto& b : it->second.bindings)
         chips.insert(b.chip);
   }
   return chips;
}

// Updates the ACL's priorities after an edit; `added` is the rule the edit brought, if any.
void updatePriorities(AclStore& store, const std::string& name, std::optional<uint32_t> added,
                      uint32_t max) {
   const auto acl = store.acls.find(name);
   if (acl == store.acls.end()) {
      store.priorities.erase(name);
      return;
   }
   if (acl->second.rules.size() > max) {
      throw Error("ACL " + name + " has " + std::to_string(acl->second.rules.size()) +
                  " rules: more than the " + std::to_string(max) + " priorities of its chips");
   }
   auto& prio = store.priorities[name];
   if (prio.size() > acl->second.rules.size()) {
      std::erase_if(prio, [&](const auto& kv) { return !acl->second.rules.count(kv.first); });
   }
   if (added && !prio.count(*added)) {
      const auto below = prio.lower_bound(*added);
      const auto p = priorityBetween(
          below == prio.begin() ? std::nullopt
                                : std::optional<uint32_t>(std::prev(below)->second),
          below == prio.end() ? std::nullopt : std::optional<uint32_t>(below->second), max);
      if (p) prio[*added] = *p;
   }
   if (prio.size() == acl->second.rules.size()) return;
   std::vector<uint32_t> order;
   for (const auto& [seq, r] : acl->second.rules)
      order.push_back(seq);
   prio = assignPriorities(order, prio, max);
}

void aclCommand(Simulator& s, const Args& a) {
   const std::string name = a.word(0, "ACL name");
   const std::string verb = a.word(1, "rule, no-rule, bind, unbind or remove");
   if (s.world().batch.isOpen()) {
      throw Error("ACLs are published outside batches: close the batch first");
   }
   AclStore& store = aclStore(s);
   auto& acls = store.acls;
   // The edit is made in place; `undo` takes it back if the chips refuse it.
   std::set<uint32_t> chips = chipsOf(acls, name);
   const bool existed = acls.count(name) > 0;
   std::optional<uint32_t> added;
   std::function<void(Acl&)> undo;
   if (verb == "rule") {
      const uint32_t seq = seqArg(a, 2);
      Rule r = parseRule(a, 3);
      Acl& acl = acls[name];
      acl.name = name;
      const auto old = acl.rules.find(seq);
      if (old == acl.rules.end()) {
         undo = [seq](Acl& x) { x.rules.erase(seq); };
         added = seq;
         acl.rules[seq] = std::move(r);
      } else {
         undo = [seq, was = old->second](Acl& x) { x.rules[seq] = was; };
         old->second = std::move(r);
      }
   } else if (verb == "no-rule") {
      const uint32_t seq = seqArg(a, 2);
      a.atMost(3);
      Acl& acl = existing(acls, name);
      const auto old = acl.rules.find(seq);
      if (old == acl.rules.end()) {
         throw Error("ACL " + name + " has no rule " + std::to_string(seq));
      }
      undo = [seq, was = old->second](Acl& x) { x.rules[seq] = was; };
      acl.rules.erase(old);
   } else if (verb == "bind" || verb == "unbind") {
      const Binding b = bindingArgs(s, a, 2);
      if (verb == "bind") {
         for (const auto& [other, acl] : acls) {
            for (const auto& o : acl.bindings) {
               if (o == b)
                  throw Error("ACL " + other + " is already bound to " + bindingText(b));
            }
         }
         Acl& acl = acls[name];
         acl.name = name;
         acl.bindings.insert(b);
         chips.insert(b.chip);
         undo = [b](Acl& x) { x.bindings.erase(b); };
      } else {
         if (!existing(acls, name).bindings.erase(b)) {
            throw Error("ACL " + name + " is not bound to " + bindingText(b));
         }
         undo = [b](Acl& x) { x.bindings.insert(b); };
      }
   } else if (verb == "remove") {
      a.atMost(2);
      auto gone = std::make_shared<Acl>(std::move(existing(acls, name)));
      acls.erase(name);
      undo = [gone](Acl& x) { x = std::move(*gone); };
   } else {
      throw Error("unknown acl verb '" + verb +
                  "': expected rule, no-rule, bind, unbind or remove");
   }
   // An ACL with neither rules nor bindings no longer exists.
   const auto it = acls.find(name);
   if (it != acls.end() && it->second.rules.empty() && it->second.bindings.empty())
      acls.erase(it);
   publishEdit(s, name, chips, added, [&acls, name, existed, undo] {
      Acl& x = acls[name];
      x.name = name;
      undo(x);
      if (!existed) acls.erase(name);
   });
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
echo == acl: the road of one ACL, from its rules to the packets it classifies
echo -- a device comes up with a port
device add 4
device up 4
intf add Ethernet40 4
hwacl port Ethernet40 40
echo -- the ACL is written and bound: its labels, rule lists, keys, entries and binding follow
acl web rule 10 deny count ip src 10.1.0.0/16 proto tcp dport 22
acl web rule 20 permit count ip dst 192.168.0.0/16 proto tcp dport 80-443
acl web rule 30 deny ip
acl web bind 4 intf Ethernet40 in
show acl web
echo -- its port ranges and prefixes are programmed and acknowledged
show prefix src4 4
show status src4
show status dst
echo -- its rule list gets an SE profile per stage, and MGKS entries for its key
show seprofile 4
show mgks-status 4
echo -- its rules sit in the MG tables of their stages
show mg 4 1
show port-acl 4
show sdk
echo -- packets are walked over the chip's tables and counted
packet 4 in Ethernet40 1 10.1.2.3 192.168.1.1 proto tcp sport 40000 dport 22 times 3
packet 4 in Ethernet40 1 10.9.9.9 192.168.1.1 proto tcp sport 40000 dport 443 times 2
packet 4 in Ethernet40 1 10.9.9.9 172.16.0.1 proto udp sport 53 dport 53
echo -- the counters are polled each second and read per rule
clock +1
show acl web
echo -- a rule changes its port range: only its entries move
acl web rule 20 permit count ip dst 192.168.0.0/16 proto tcp dport 80-8080
show sdk
packet 4 in Ethernet40 1 10.9.9.9 192.168.1.1 proto tcp sport 40000 dport 8080
echo -- the ACL goes: its binding first, then its entries, keys and lists
acl web remove
show port-acl 4
show sdk
packet 4 in Ethernet40 1 10.1.2.3 192.168.1.1 proto tcp sport 40000 dport 22
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

void publishEdit(Simulator& s, const std::string& name, const std::set<uint32_t>& chips,
                 std::optional<uint32_t> added, const std::function<void()>& undo) {
   AclStore& store = aclStore(s);
   uint32_t max = kDefaultPriorityMax;
   for (uint32_t chip : chips) {
      if (auto cap = s.world().hwCapabilityColl->chipHwCapability(Orim::ChipId(chip)))
         max = std::min<uint32_t>(max, cap->priorityFieldMaxCount());
   }
   // An ACL bound nowhere reaches no chip: nothing can refuse its edit.
   if (chips.empty()) {
      try {
         updatePriorities(store, name, added, max);
      } catch (const Error&) {
         undo();
         throw;
      }
      return;
   }
   // The priorities as they were, for a refusal to put back. An edit that leaves them as they
   // are (a binding, or a rule written again) needs no copy: updatePriorities changes nothing
   // when every rule has one and the added rule is among them.
   const auto priorBefore = store.priorities.find(name);
   const auto aclBefore = store.acls.find(name);
   const bool unchanged = priorBefore != store.priorities.end() &&
                          aclBefore != store.acls.end() &&
                          priorBefore->second.size() == aclBefore->second.rules.size() &&
                          (!added || priorBefore->second.count(*added));
   const std::optional<std::map<uint32_t, uint32_t>> saved =
       priorBefore == store.priorities.end() || unchanged ? std::nullopt
                                                          : std::optional(priorBefore->second);
   std::map<uint32_t, ChipPlan> plans;
   std::vector<uint32_t> done;
   try {
      updatePriorities(store, name, added, max);
      for (uint32_t chip : chips) {
         plans[chip] =
             compileChip(s, chip, store.acls, store.priorities, store.published[chip]);
      }
      for (uint32_t chip : chips) {
         publishChip(s, chip, store.published[chip], plans[chip]);
         done.push_back(chip);
      }
   } catch (const Error&) {
      for (auto it = done.rbegin(); it != done.rend(); ++it)
         publishChip(s, *it, plans[*it], store.published[*it]);
      undo();
      if (saved) {
         store.priorities[name] = *saved;
      } else if (!unchanged) {
         store.priorities.erase(name);
      }
      throw;
   }
   for (auto& [chip, plan] : plans)
      store.published[chip] = std::move(plan);
   // Hits of rules that are gone go with them.
   const auto acl = store.acls.find(name);
   std::erase_if(store.hits, [&](const auto& kv) {
      return kv.first.first == name &&
             (acl == store.acls.end() || !acl->second.rules.count(kv.first.second));
   });
}

} // namespace Sim::Acl
