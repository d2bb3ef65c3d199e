// The publisher: the difference between two states of a chip, written make before break.
// Prefix sets are attempted first (the two-phase request, checked), then rule lists with their
// mask groups and the rule-list keys, then new entries, then the labels they use, then
// bindings; what goes away goes after, in the reverse order.
#include <algorithm>
#include <optional>
#include <tuple>
#include <vector>

#include "platform/OrimDataFlow.h"
#include "platform/OrimXform.h"
#include "sim/MgksRoom.h"
#include "sim/acl/AclCompiler.h"
#include "xpacl/model/XpAclMgksStatus.h"

namespace Sim::Acl {

namespace {

struct PrefixInstances {
   const char* v4;
   const char* v6;
};
// The IPv4 and IPv6 instances of a table share its index space: the IPv4 request clears it, so
// both are attempted, IPv4 first, whenever the table changes.
constexpr PrefixInstances kPrefixSm[2] = {{"SrcV4PrefixXformSm", "SrcV6PrefixXformSm"},
                                          {"DstV4PrefixXformSm", "DstV6PrefixXformSm"}};
constexpr const char* kL4Sm[2] = {"L4SrcPortXformSm", "L4DstPortXformSm"};
constexpr const char* kTableName[2] = {"source", "destination"};

using PrefixMap = std::map<Plexo::IpGenPrefix, uint32_t>;

// One family of a table's prefixes, walked in place: the sets are large and published whole.
template <class F>
void forFamily(const PrefixMap& set, bool v6, F f) {
   for (const auto& [p, l] : set) {
      if (p.isV6() == v6) f(p, l);
   }
}

size_t familySize(const PrefixMap& set, bool v6) {
   size_t n = 0;
   forFamily(set, v6, [&](const auto&, uint32_t) { ++n; });
   return n;
}

bool sameFamily(const PrefixMap& a, const PrefixMap& b, bool v6) {
   auto i = a.begin(), j = b.begin();
   for (;;) {
      while (i != a.end() && i->first.isV6() != v6)
         ++i;
      while (j != b.end() && j->first.isV6() != v6)
         ++j;
      if (i == a.end() || j == b.end()) return i == a.end() && j == b.end();
      if (*i != *j) return false;
      ++i;
      ++j;
   }
}

bool acknowledged(Simulator& s, const std::string& sm, const Orim::ChipId& chip, double id) {
   const auto st =
       s.world().get<Orim::ResourceStatus>(sm + ".status")->resourceChipStatus(chip);
   return st.requestId == id && st.success;
}

Norv::Ptr<Orim::ChipIpGenPrefixConfig> prefixConfig(Simulator& s, const std::string& sm,
                                                    const Orim::ChipId& chip) {
   auto cfg = s.world().get<Orim::IpGenPrefixConfig>(sm + ".config");
   auto c = cfg->chipIpGenPrefixConfig(chip);
   return c ? c : cfg->chipIpGenPrefixConfigIs(chip);
}

// The attempted phase: indexes for the whole set, nothing written. Whether the driver
// acknowledged it with success.
bool attempt(Simulator& s, const std::string& sm, const Orim::ChipId& chip,
             const PrefixMap& set, bool v6) {
   auto c = prefixConfig(s, sm, chip);
   c->attemptedXformDelAll();
   forFamily(set, v6, [&](const Plexo::IpGenPrefix& p, uint32_t l) {
      c->attemptedXformIs(p, Orim::XformedIpPrefix{l});
   });
   const double id = c->attemptedRequestId() + 1;
   c->attemptedRequestIdIs(id);
   return acknowledged(s, sm, chip, id);
}

// The active phase: the attempted set written at its indexes.
void activate(Simulator& s, const std::string& sm, const Orim::ChipId& chip,
              const PrefixMap& set, bool v6) {
   auto c = prefixConfig(s, sm, chip);
   c->activeXformDelAll();
   forFamily(set, v6, [&](const Plexo::IpGenPrefix& p, uint32_t l) {
      c->activeXformIs(p, Orim::XformedIpPrefix{l});
   });
   c->activeRequestIdIs(c->activeRequestId() + 1);
}

bool attemptTable(Simulator& s, const Orim::ChipId& chip, int t, const PrefixSet& from,
                  const PrefixSet& to) {
   if (!attempt(s, kPrefixSm[t].v4, chip, to.labels, false)) return false;
   const bool v6Before = std::any_of(from.labels.begin(), from.labels.end(),
                                     [](const auto& kv) { return kv.first.isV6(); });
   return (familySize(to.labels, true) == 0 && !v6Before) ||
          attempt(s, kPrefixSm[t].v6, chip, to.labels, true);
}

void activateTable(Simulator& s, const Orim::ChipId& chip, int t, const PrefixSet& from,
                   const PrefixSet& to) {
   const size_t v4 = familySize(to.labels, false), v6 = familySize(to.labels, true);
   // An IPv4 activation first writes a catch-all at index 0, which may be an IPv6 prefix's:
   // it runs only when the IPv4 set changed, and the IPv6 set is rewritten after it whenever
   // its indexes may have moved.
   if (v4 && !sameFamily(to.labels, from.labels, false))
      activate(s, kPrefixSm[t].v4, chip, to.labels, false);
   if (v6 &&
       (!sameFamily(to.labels, from.labels, true) || v4 != familySize(from.labels, false))) {
      activate(s, kPrefixSm[t].v6, chip, to.labels, true);
   }
}

Norv::Ptr<Orim::ChipPortRangeConfig> portConfig(Simulator& s, int t, const Orim::ChipId& chip) {
   auto cfg = s.world().get<Orim::PortRangeConfig>(std::string(kL4Sm[t]) + ".config");
   auto c = cfg->chipPortRangeConfig(chip);
   return c ? c : cfg->chipPortRangeConfigIs(chip);
}

void raisePortRequest(Simulator& s, int t, const Orim::ChipId& chip) {
   auto c = portConfig(s, t, chip);
   const double id = c->attemptedRequestId() + 1;
   c->attemptedRequestIdIs(id);
   if (!acknowledged(s, kL4Sm[t], chip, id)) {
      throw Error("chip " + chip.text() + ": the " + kTableName[t] +
                  " L4 port table did not acknowledge request " + Norv::text(id));
   }
}

bool overlap(const PortRange& a, const PortRange& b) {
   return a.first <= b.last && b.first <= a.last;
}

// New intervals, after the old ones they overlap: the driver keeps a chip's ranges apart.
void addPorts(Simulator& s, const Orim::ChipId& chip, int t,
              const std::map<PortRange, uint32_t>& from,
              const std::map<PortRange, uint32_t>& to) {
   if (from == to) return;
   auto c = portConfig(s, t, chip);
   std::vector<std::pair<PortRange, uint32_t>> added;
   for (const auto& [r, l] : to) {
      const auto it = from.find(r);
      if (it == from.end() || it->second != l) added.push_back({r, l});
   }
   if (added.empty()) return;
   for (const auto& [r, l] : from) {
      if (to.count(r)) continue;
      if (std::any_of(added.begin(), added.end(),
                      [&](const auto& n) { return overlap(r, n.first); }))
         c->activeXformDel({r.first, r.last});
   }
   for (const auto& [r, l] : added)
      c->activeXformIs({r.first, r.last}, Orim::XformedPortRange{uint16_t(l)});
   raisePortRequest(s, t, chip);
}

void dropPorts(Simulator& s, const Orim::ChipId& chip, int t,
               const std::map<PortRange, uint32_t>& from,
               const std::map<PortRange, uint32_t>& to) {
   auto c = portConfig(s, t, chip);
   bool any = false;
   for (const auto& [r, l] : from) {
      if (to.count(r) || !c->activeXformColl().contains({r.first, r.last})) continue;
      c->activeXformDel({r.first, r.last});
      any = true;
   }
   if (any) raisePortRequest(s, t, chip);
}

// Every MGKS entry the new state adds must find room without moving another.
void checkMgks(Simulator& s, const Orim::ChipId& chip, const ChipPlan& from,
               const ChipPlan& to) {
   for (const auto& [key, list] : to.keys) {
      const auto mg = to.stageMg.find(list);
      if (mg == to.stageMg.end()) continue;
      const auto keyBefore = from.keys.find(key);
      const auto mgBefore = from.stageMg.find(list);
      for (const auto& [stage, mgd] : mg->second) {
         const bool existed = keyBefore != from.keys.end() && keyBefore->second == list &&
                              mgBefore != from.stageMg.end() && mgBefore->second.count(stage);
         if (!existed) checkMgksRoom(s, chip, key, Orim::StageId(stage));
      }
   }
}

// The first key of the new state whose MGKS entry found no room: the driver publishes it in
// the key's status rather than failing.
std::optional<std::string> mgksFull(Simulator& s, const Orim::ChipId& chip,
                                    const ChipPlan& to) {
   auto status = s.world().get<XpAcl::MgksStatus>("mgksStatus")->chipMgksStatus(chip);
   if (!status) return std::nullopt;
   for (const auto& [key, list] : to.keys) {
      auto entry = status->statusEntry(key);
      if (!entry) continue;
      for (auto it = entry->mgksStageStatusColl().begin(); it; ++it) {
         if (it.value()->result() == XpAcl::MgksEntryAllocStatus::mgksEntryAllocFailure) {
            return "no room for " + mgksKeyText(key) + " at stage " + it.key().text() +
                   ": its MGKS table is full";
         }
      }
   }
   return std::nullopt;
}

Norv::Ptr<Orim::PerStageHashTable> stageTable(Norv::Ptr<Orim::ChipDataFlowConfig> config,
                                              uint32_t stage) {
   return config->stageHashTableIs(Orim::StageId(stage));
}

void removeEntry(Norv::Ptr<Orim::ChipDataFlowConfig> config, uint32_t stage,
                 const Position& pos) {
   auto table = config->stageHashTable(Orim::StageId(stage));
   if (table && table->tableColl().contains(pos)) table->tableDel(pos);
}

} // namespace

// The set `to` with its ghosts still carrying the label they had in `from`, live or ghost
// already: a ghost labelled like an enclosing prefix that loses its last rule in the same
// change is relabelled with it, and the old entries still decide until their bindings go.
// Nothing when no ghost's label changes, and `to` is that set. A freed label is never given
// to another prefix in the same change, so the two can stand side by side.
std::optional<PrefixSet> ghostsKeepingTheirLabels(const PrefixSet& from, const PrefixSet& to) {
   std::optional<PrefixSet> kept;
   for (const auto& ghost : to.ghosts) {
      const auto was = from.labels.find(ghost);
      if (was == from.labels.end() || was->second == to.labels.at(ghost)) continue;
      if (!kept) kept = to;
      kept->labels[ghost] = was->second;
   }
   return kept;
}

void publishChip(Simulator& s, uint32_t chipValue, const ChipPlan& from, const ChipPlan& to) {
   const Orim::ChipId chip(chipValue);
   checkMgks(s, chip, from, to);

   // Labels. The prefix sets are tried first: a table that cannot take its set leaves both
   // tables as they were, the attempted indexes rolled back by attempting the sets in force.
   for (int t : {srcTable, dstTable}) {
      if (from.prefixes[t] == to.prefixes[t] ||
          attemptTable(s, chip, t, from.prefixes[t], to.prefixes[t])) {
         continue;
      }
      for (int u = srcTable; u <= t; ++u) {
         if (from.prefixes[u] != to.prefixes[u]) {
            attemptTable(s, chip, u, to.prefixes[u], from.prefixes[u]);
         }
      }
      throw Error("chip " + chip.text() + ": the " + kTableName[t] +
                  " IP transform table cannot take the " +
                  std::to_string(to.prefixes[t].labels.size()) +
                  " prefixes it needs (the driver refused the request)");
   }

   auto config =
       s.world().get<Orim::DataFlowConfig>("dataFlowConfig")->chipDataFlowConfigIs(chip);
   // Mask groups. One that replaces another of its list at a stage takes the stage's old
   // entries of the list with it first.
   for (const auto& [list, stages] : to.stageMg) {
      const auto before = from.stageMg.find(list);
      for (const auto& [stage, mgd] : stages) {
         if (before != from.stageMg.end()) {
            const auto old = before->second.find(stage);
            if (old != before->second.end() && old->second == mgd) continue;
            if (old != before->second.end()) {
               const auto fromStage = from.entries.find(stage);
               for (const auto& [pos, pe] : fromStage == from.entries.end()
                                                ? decltype(fromStage->second){}
                                                : fromStage->second) {
                  if (pe.entry.aclId().chipRuleListId().value() == list)
                     removeEntry(config, stage, pos);
               }
            }
         }
         config->chipRuleListCfgIs(Orim::ChipRuleListId(list))
             ->stageMgIs(Orim::StageId(stage), mgd);
      }
   }
   for (const auto& [key, list] : to.keys) {
      const auto it = from.keys.find(key);
      if (it == from.keys.end() || it->second != list) {
         config->chipRuleListKeyToIdIs(key, Orim::ChipRuleListId(list));
      }
   }
   if (const auto full = mgksFull(s, chip, to)) {
      // Nothing uses the new keys yet: the state before is published again.
      publishChip(s, chipValue, to, from);
      throw Error(*full);
   }
   // New and changed entries, before any old one goes: first those that rise (new ones rise
   // from nothing), highest first, then those that drop, lowest first. Whatever a packet
   // matches, its winner is then at every step either its old winner at its old priority or
   // its new winner at its new one: a written rise on top has the highest final priority of
   // all, and an unwritten entry on top has the highest old one.
   struct Write {
      int group; // 0 new, rising or same priority, 1 dropping
      int rank;  // order within the group
      uint32_t stage;
      Position pos;
      const Orim::PerStageTableEntry* entry;
   };
   std::vector<Write> writes;
   for (const auto& [stage, entries] : to.entries) {
      const auto before = from.entries.find(stage);
      for (const auto& [pos, pe] : entries) {
         const int now = pe.entry.priority();
         int group = 0;
         if (before != from.entries.end()) {
            const auto old = before->second.find(pos);
            if (old != before->second.end()) {
               if (old->second.entry == pe.entry) continue;
               const int was = old->second.entry.priority();
               group = now < was ? 1 : 0;
            }
         }
         writes.push_back({group, group == 0 ? -now : now, stage, pos, &pe.entry});
      }
   }
   std::stable_sort(writes.begin(), writes.end(), [](const Write& x, const Write& y) {
      return std::tie(x.group, x.rank) < std::tie(y.group, y.rank);
   });
   for (const auto& w : writes)
      stageTable(config, w.stage)->tableIs(w.pos, *w.entry);
   // Labels after the entries that use them: a new label is a value no packet carries yet, so
   // its entries wait unseen, and a port or address whose label changes finds its new entries
   // already there. A ghost whose label changes keeps its old one until the bindings that
   // reach its old entries are gone (below).
   const std::array<std::optional<PrefixSet>, 2> keeping = {
       ghostsKeepingTheirLabels(from.prefixes[srcTable], to.prefixes[srcTable]),
       ghostsKeepingTheirLabels(from.prefixes[dstTable], to.prefixes[dstTable])};
   const std::array<const PrefixSet*, 2> kept = {
       keeping[srcTable] ? &*keeping[srcTable] : &to.prefixes[srcTable],
       keeping[dstTable] ? &*keeping[dstTable] : &to.prefixes[dstTable]};
   for (int t : {srcTable, dstTable}) {
      if (from.prefixes[t] != *kept[t]) activateTable(s, chip, t, from.prefixes[t], *kept[t]);
      addPorts(s, chip, t, from.ports[t], to.ports[t]);
   }
   // Bindings: a rebound interface moves to its new index in one write.
   for (const auto& [intf, index] : to.intfIndex) {
      const auto it = from.intfIndex.find(intf);
      if (it == from.intfIndex.end() || it->second != index) {
         config->intfToHwAclIndexIs(Plexo::IntfId::fromText(intf), uint8_t(index));
      }
   }
   for (const auto& [vlan, index] : to.vlanIndex) {
      const auto it = from.vlanIndex.find(vlan);
      if (it == from.vlanIndex.end() || it->second != index) {
         config->vlanToHwAclIndexIs(Bridging::VlanId(vlan), uint8_t(index));
      }
   }

   // What goes: bindings, entries, keys, mask groups and rule lists, port labels.
   for (const auto& [intf, index] : from.intfIndex) {
      if (!to.intfIndex.count(intf)) config->intfToHwAclIndexDel(Plexo::IntfId::fromText(intf));
   }
   for (const auto& [vlan, index] : from.vlanIndex) {
      if (!to.vlanIndex.count(vlan)) config->vlanToHwAclIndexDel(Bridging::VlanId(vlan));
   }
   // Unbound, the old entries no longer decide anything their ghosts' old labels reach: the
   // ghosts take their labels now, and find the new entries of their enclosing prefixes.
   for (int t : {srcTable, dstTable}) {
      if (keeping[t] && *keeping[t] != to.prefixes[t])
         activateTable(s, chip, t, *keeping[t], to.prefixes[t]);
   }
   for (const auto& [stage, entries] : from.entries) {
      const auto after = to.entries.find(stage);
      for (const auto& [pos, pe] : entries) {
         if (after == to.entries.end() || !after->second.count(pos)) {
            removeEntry(config, stage, pos);
         }
      }
   }
   for (const auto& [key, list] : from.keys) {
      if (!to.keys.count(key)) config->chipRuleListKeyToIdDel(key);
   }
   for (const auto& [list, stages] : from.stageMg) {
      const auto after = to.stageMg.find(list);
      if (after == to.stageMg.end()) {
         config->chipRuleListCfgDel(Orim::ChipRuleListId(list));
         continue;
      }
      auto cfg = config->chipRuleListCfg(Orim::ChipRuleListId(list));
      for (const auto& [stage, mgd] : stages) {
         if (!after->second.count(stage) && cfg) cfg->stageMgDel(Orim::StageId(stage));
      }
   }
   for (int t : {srcTable, dstTable})
      dropPorts(s, chip, t, from.ports[t], to.ports[t]);
}

} // namespace Sim::Acl
