// The compiler: from the ACLs bound on a chip, the chip's labels, rule lists and their mask
// groups per stage, rule-list keys, hardware ACL indexes and placed MG-table entries.
#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

#include "norv/FlatHashMap.h"
#include "platform/OrimDataFlow.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclLabels.h"
#include "sim/acl/AclParse.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"
#include "xpacl/maskgroup/XpAclOrimPDInfo.h"
#include "xpacl/model/XpAclOrimValues.h"
#include "xpacl/model/XpAclStageStatus.h"

namespace Sim::Acl {

namespace {

constexpr uint32_t kMaxIndex = 255;
constexpr uint32_t kMaxLabel = 0xfffe;
// Carried by prefixes no rule uses and with no live prefix around them: matched by no rule.
constexpr uint32_t kDeadLabel = 0xffff;
constexpr uint32_t kMaxPortLabel = 0xffff;
constexpr uint8_t kLabelMaskLength = 16;
// A rule whose fields expand to more entries than this is refused rather than half placed.
constexpr size_t kMaxEntriesPerRule = 8192;

std::string chipText(uint32_t chip) {
   return "chip " + std::to_string(chip);
}

std::string listText(const ListKey& k) {
   return "ACL " + k.acl + " (" + (k.egress ? "out" : "in") + ", " +
          (k.routed ? "routed" : "port") + ", " + (k.ipv6 ? "IPv6" : "IPv4") + ")";
}

// 1 port ACL IPv4, 2 routed ACL IPv4, 3 port ACL IPv6, 4 routed ACL IPv6.
uint8_t tableType(bool routed, bool ipv6) {
   return static_cast<uint8_t>(1 + (routed ? 1 : 0) + (ipv6 ? 2 : 0));
}

template <class K>
std::vector<uint32_t> valuesOf(const std::map<K, uint32_t>& m) {
   std::vector<uint32_t> out;
   out.reserve(m.size());
   for (const auto& [k, v] : m)
      out.push_back(v);
   return out;
}

// The ACLs bound on the chip, by name.
using Bound = std::map<std::string, const Acl*>;

// The chip's hashing and tables, as the compiler needs them to place entries.
struct ChipView {
   std::vector<Orim::StageId> stages;
   Norv::Ptr<const Orim::ChipHwCapability> cap;
   Norv::Ptr<XpAcl::Xp80PDHashingFunction> pd;
   Norv::Ptr<const Orim::ChipDataFlowConfig> config;
   uint32_t ways = 0;
};

ChipView viewOf(Simulator& s, uint32_t chipValue) {
   const Orim::ChipId chip(chipValue);
   ChipView v;
   auto stages =
       s.world().get<XpAcl::AaclStageStatus>("aaclStageStatus")->aaclChipStageStatus(chip);
   v.cap = s.world().hwCapabilityColl->chipHwCapability(chip);
   v.pd = s.world()
              .get<XpAcl::Xp80PDInfo>("xp80PDInfo")
              ->pdHashingFunction(XpXdk::deviceIdOf(chip));
   auto* model = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
   if (!stages || !v.cap || !v.pd ||
       model->getNumOfWays(static_cast<xpsDevice_t>(chipValue), v.ways) != XP_NO_ERR) {
      throw Error(chipText(chipValue) + " is not up: its ACL tables are not known yet");
   }
   for (auto it = stages->aaclStageDescriptorColl().begin(); it; ++it)
      v.stages.push_back(it.key());
   std::sort(v.stages.begin(), v.stages.end());
   v.config = s.world().get<Orim::DataFlowConfig>("dataFlowConfig")->chipDataFlowConfig(chip);
   return v;
}

Orim::MaskGroupDescriptor maskGroupOf(const Rule& r, uint8_t type) {
   Orim::MaskGroupDescriptor m;
   m.aclTypeIs(type);
   m.srcIpMaskLengthIs(r.src ? kLabelMaskLength : 0);
   m.dstIpMaskLengthIs(r.dst ? kLabelMaskLength : 0);
   m.srcPortIs(r.sport.has_value());
   m.dstPortIs(r.dport.has_value());
   m.ipProtoIs(r.protocol.has_value());
   m.ttlIs(r.ttl.has_value());
   m.ipFragIs(r.fragment);
   m.establishedIs(r.established);
   return m;
}

// The mask group as a number: what the compiler sets of it, packed.
uint32_t mgdKey(const Orim::MaskGroupDescriptor& m) {
   return uint32_t{m.aclType()} | uint32_t{m.srcIpMaskLength()} << 8 |
          uint32_t{m.dstIpMaskLength()} << 16 | uint32_t{m.srcPort()} << 24 |
          uint32_t{m.dstPort()} << 25 | uint32_t{m.ipProto()} << 26 | uint32_t{m.ttl()} << 27 |
          uint32_t{m.ipFrag()} << 28 | uint32_t{m.established()} << 29;
}

// A chip's label tables flattened for the many lookups of rule expansion, and the buffers
// each rule's expansion reuses.
struct Expander {
   explicit Expander(const ChipPlan& plan)
       : prefixes{FlatPrefixes(plan.prefixes[srcTable].labels),
                  FlatPrefixes(plan.prefixes[dstTable].labels)},
         ports{FlatIntervals(plan.ports[srcTable]), FlatIntervals(plan.ports[dstTable])} {}
   std::array<FlatPrefixes, 2> prefixes;
   std::array<FlatIntervals, 2> ports;
   std::array<std::vector<uint32_t>, 4>
       labels; // source, destination IP; source, destination port
   std::vector<Orim::PDKeyValue> keys;

   // The match keys of a rule: the cross product of each matched field's labels. Nothing when
   // there would be more than kMaxEntriesPerRule.
   const std::vector<Orim::PDKeyValue>& expand(const Rule& r) {
      for (auto& l : labels)
         l.clear();
      keys.clear();
      const auto prefix = [&](const std::optional<Plexo::IpGenPrefix>& p, int t) {
         if (p) {
            prefixLabels(*p, prefixes[t], labels[t]);
         } else {
            labels[t].push_back(0);
         }
      };
      const auto port = [&](const std::optional<PortRange>& p, int t) {
         if (p) {
            portLabels(*p, ports[t], labels[2 + t]);
         } else {
            labels[2 + t].push_back(0);
         }
      };
      prefix(r.src, srcTable);
      prefix(r.dst, dstTable);
      port(r.sport, srcTable);
      port(r.dport, dstTable);
      const auto& [sips, dips, sports, dports] = labels;
      if (sips.size() * dips.size() * sports.size() * dports.size() > kMaxEntriesPerRule)
         return keys;
      Orim::PDKeyValue k;
      k.ttlIs(r.ttl.value_or(0));
      k.protocolIs(r.protocol.value_or(0));
      k.fragmentIs(r.fragment);
      k.establishedIs(r.established ? 1 : 0);
      for (uint32_t sip : sips) {
         for (uint32_t dip : dips) {
            for (uint32_t sp : sports) {
               for (uint32_t dp : dports) {
                  k.srcIpLabelIs(sip);
                  k.dstIpLabelIs(dip);
                  k.srcPortLabelIs(sp);
                  k.dstPortLabelIs(dp);
                  keys.push_back(k);
               }
            }
         }
      }
      return keys;
   }
};

// What makes an entry the same entry across compilations: where its key is matched and the key.
using KeyFields =
    std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, uint8_t, uint8_t, bool, uint8_t>;
KeyFields keyFields(const Orim::PDKeyValue& k) {
   return {k.srcIpLabel(), k.dstIpLabel(),  k.srcPortLabel(), k.dstPortLabel(),
           k.ttl(),        k.established(), k.fragment(),     k.protocol()};
}
using Identity = std::tuple<uint32_t, uint32_t, bool, uint32_t, KeyFields>;

// A key matched at a stage of a rule list, packed for the set of keys its rules already hold:
// one lookup per entry in a flat table.
struct TakenKey {
   uint64_t ips = 0, ports = 0, rest = 0;
   bool operator==(const TakenKey&) const = default;
   size_t hash() const {
      uint64_t h = (ips ^ (ports * 0x9e3779b97f4a7c15ull)) * 0xbf58476d1ce4e5b9ull;
      h = (h ^ (h >> 31) ^ rest) * 0x94d049bb133111ebull;
      return static_cast<size_t>(h ^ (h >> 29));
   }
};
TakenKey takenKey(uint32_t stage, const Orim::PDKeyValue& k) {
   return {uint64_t{k.srcIpLabel()} << 32 | k.dstIpLabel(),
           uint64_t{k.srcPortLabel()} << 32 | k.dstPortLabel(),
           uint64_t{stage} << 32 | uint64_t{k.ttl()} << 24 | uint64_t{k.established()} << 16 |
               uint64_t{k.fragment()} << 8 | k.protocol()};
}
Identity identityOf(uint32_t stage, const Orim::PerStageTableEntry& e) {
   return {stage, e.aclId().chipRuleListId().value(),
           e.aclId().direction() == Orim::AclDirection::out, mgdKey(e.maskGroupDescriptor()),
           keyFields(e.pdKey())};
}

void labelPorts(const Bound& bound, const ChipPlan& prev, ChipPlan& plan, uint32_t chip) {
   for (int t : {srcTable, dstTable}) {
      std::vector<PortRange> ranges;
      for (const auto& [name, acl] : bound) {
         for (const auto& [seq, r] : acl->rules) {
            const auto& p = t == srcTable ? r.sport : r.dport;
            if (p) ranges.push_back(*p);
         }
      }
      const auto intervals = elementaryIntervals(ranges);
      auto labels =
          stableLabelsSorted(intervals, prev.ports[t], valuesOf(prev.ports[t]), kMaxPortLabel);
      if (!labels) {
         throw Error(chipText(chip) + ": the " + (t == srcTable ? "source" : "destination") +
                     " L4 port table has no label left for " +
                     std::to_string(intervals.size()) + " port intervals");
      }
      plan.ports[t] = std::move(*labels);
   }
}

void labelPrefixes(const Bound& bound, const ChipPlan& prev, ChipPlan& plan, uint32_t chip) {
   for (int t : {srcTable, dstTable}) {
      std::vector<Plexo::IpGenPrefix> rulePrefixes;
      for (const auto& [name, acl] : bound) {
         for (const auto& [seq, r] : acl->rules) {
            const auto& p = t == srcTable ? r.src : r.dst;
            if (p) rulePrefixes.push_back(*p);
         }
      }
      const auto live = sortedUnique(std::move(rulePrefixes));
      const PrefixSet& before = prev.prefixes[t];
      // The labels the live prefixes had: the table less its ghosts.
      std::map<Plexo::IpGenPrefix, uint32_t> withoutGhosts;
      if (!before.ghosts.empty()) {
         for (const auto& [p, l] : before.labels) {
            if (!before.ghosts.count(p)) withoutGhosts.emplace_hint(withoutGhosts.end(), p, l);
         }
      }
      const auto& prevLive = before.ghosts.empty() ? before.labels : withoutGhosts;
      auto labels = stableLabelsSorted(live, prevLive, valuesOf(prevLive), kMaxLabel);
      if (!labels) {
         throw Error(chipText(chip) + ": no label left for " + std::to_string(live.size()) +
                     " prefixes");
      }
      // What the table held and no rule uses any more, in order.
      std::vector<Plexo::IpGenPrefix> ghosts;
      auto l = live.begin();
      for (const auto& [p, label] : before.labels) {
         while (l != live.end() && *l < p)
            ++l;
         if (l == live.end() || p < *l) ghosts.push_back(p);
      }
      const auto ghostLabelsOf = ghostLabels(ghosts, *labels, kDeadLabel);
      PrefixSet& set = plan.prefixes[t];
      set.labels = std::move(*labels);
      for (size_t i = 0; i < ghosts.size(); ++i) {
         set.ghosts.emplace_hint(set.ghosts.end(), ghosts[i]);
         set.labels.emplace(ghosts[i], ghostLabelsOf[i]);
      }
   }
}

// Hardware ACL indexes, rule lists and their keys, from the bindings on the chip.
void bindLists(const Bound& bound, uint32_t chip, const ChipPlan& prev, ChipPlan& plan) {
   std::map<std::string, std::pair<std::string, std::string>> intfs;
   std::map<uint16_t, std::pair<std::string, std::string>> vlans;
   std::set<ListKey> lists;
   for (const auto& [name, acl] : bound) {
      for (const auto& b : acl->bindings) {
         if (b.chip != chip) continue;
         const bool routed = b.kind == BindKind::vlan;
         auto& pair = routed ? vlans[b.vlan] : intfs[b.intf];
         (b.egress ? pair.second : pair.first) = name;
         for (bool v6 : {false, true})
            lists.insert({name, b.egress, routed, v6});
      }
   }
   std::set<IndexProfile> profiles;
   for (const auto& [i, p] : intfs)
      profiles.insert({false, p.first, p.second});
   for (const auto& [v, p] : vlans)
      profiles.insert({true, p.first, p.second});
   const auto indexes =
       stableLabelsSorted(std::vector<IndexProfile>(profiles.begin(), profiles.end()),
                          prev.indexes, valuesOf(prev.indexes), kMaxIndex);
   if (!indexes) throw Error(chipText(chip) + " has no hardware ACL index left");
   plan.indexes = *indexes;
   std::set<uint32_t> avoidLists;
   for (const auto& [k, v] : prev.lists)
      avoidLists.insert(v);
   avoidLists.insert(XpAcl::OrimConstants::reservedChipRuleListIdForPermitAll.value());
   const auto ids = stableLabels(lists, prev.lists, avoidLists, kMaxIndex);
   if (!ids) throw Error(chipText(chip) + " has no chip rule list id left");
   plan.lists = *ids;
   for (const auto& [i, p] : intfs)
      plan.intfIndex[i] = plan.indexes[{false, p.first, p.second}];
   for (const auto& [v, p] : vlans)
      plan.vlanIndex[v] = plan.indexes[{true, p.first, p.second}];
   for (const auto& [profile, index] : plan.indexes) {
      for (bool egress : {false, true}) {
         const std::string& acl = egress ? profile.out : profile.in;
         if (acl.empty()) continue;
         for (bool v6 : {false, true}) {
            const Orim::ChipRuleListIdKey key(index, 0, tableType(profile.routed, v6),
                                              egress ? Orim::AclDirection::out
                                                     : Orim::AclDirection::in);
            plan.keys[key] = plan.lists.at({acl, egress, profile.routed, v6});
         }
      }
   }
}

// Stages of a rule list's mask groups: a mask group keeps its stage; a new one takes a stage
// the list uses neither before nor after, so that its entries are written before the old ones
// go.
std::map<uint32_t, uint32_t> stagesOf(const std::vector<uint32_t>& groups,
                                      const std::map<uint32_t, Orim::MaskGroupDescriptor>& prev,
                                      const ChipView& view, const std::string& what) {
   if (groups.size() > view.stages.size()) {
      throw Error(what + " needs " + std::to_string(groups.size()) +
                  " mask groups: more than the chip's " + std::to_string(view.stages.size()) +
                  " stages");
   }
   std::map<uint32_t, uint32_t> out;
   std::set<uint32_t> used, before;
   for (const auto& [stage, mgd] : prev) {
      before.insert(stage);
      const uint32_t text = mgdKey(mgd);
      if (std::find(groups.begin(), groups.end(), text) != groups.end()) {
         out[text] = stage;
         used.insert(stage);
      }
   }
   for (const auto& g : groups) {
      if (out.count(g)) continue;
      std::optional<uint32_t> pick, fallback;
      for (const auto& st : view.stages) {
         if (used.count(st.value())) continue;
         if (!before.count(st.value()) && !pick) pick = st.value();
         if (!fallback) fallback = st.value();
      }
      out[g] = pick ? *pick : *fallback;
      used.insert(out[g]);
   }
   return out;
}

} // namespace

ChipPlan compileChip(Simulator& s, uint32_t chip, const std::map<std::string, Acl>& next,
                     const std::map<std::string, std::map<uint32_t, uint32_t>>& priorities,
                     const ChipPlan& prev) {
   Bound bound;
   for (const auto& [name, acl] : next) {
      for (const auto& b : acl.bindings) {
         if (b.chip == chip) bound.emplace(name, &acl);
      }
   }
   ChipPlan plan;
   plan.nextRuleId = prev.nextRuleId;
   // Nothing bound: nothing of the chip's previous state but the prefixes the driver keeps.
   if (bound.empty() && prev.lists.empty()) {
      plan.prefixes = prev.prefixes;
      return plan;
   }
   const ChipView view = viewOf(s, chip);
   bindLists(bound, chip, prev, plan);
   labelPorts(bound, prev, plan, chip);
   labelPrefixes(bound, prev, plan, chip);

   std::map<Identity, std::pair<Position, uint32_t>> placedBefore;
   for (const auto& [stage, table] : prev.entries) {
      for (const auto& [pos, pe] : table)
         placedBefore[identityOf(stage, pe.entry)] = {pos, pe.entry.ruleId()};
   }
   Expander expander(plan);
   for (const auto& [key, listId] : plan.lists) {
      const Acl& acl = *bound.at(key.acl);
      const auto& prio = priorities.at(key.acl);
      const uint8_t type = tableType(key.routed, key.ipv6);
      // Mask groups in the order their first rule comes, and each rule's.
      struct ListRule {
         uint32_t seq;
         const Rule* rule;
         Orim::MaskGroupDescriptor mgd;
         uint32_t group;
      };
      std::vector<ListRule> rules;
      rules.reserve(acl.rules.size());
      std::vector<uint32_t> groups;
      std::map<uint32_t, Orim::MaskGroupDescriptor> mgds;
      for (const auto& [seq, r] : acl.rules) {
         if (r.ipv6 != key.ipv6) continue;
         rules.push_back({seq, &r, maskGroupOf(r, type), 0});
         auto& rule = rules.back();
         rule.group = mgdKey(rule.mgd);
         if (mgds.emplace(rule.group, rule.mgd).second) groups.push_back(rule.group);
      }
      const auto prevMg = prev.stageMg.find(listId);
      const auto stages = stagesOf(
          groups, prevMg == prev.stageMg.end() ? decltype(prevMg->second){} : prevMg->second,
          view, chipText(chip) + ": " + listText(key));
      for (const auto& [text, stage] : stages)
         plan.stageMg[listId][stage] = mgds[text];
      // Entries, first rule first: a key a higher rule already holds is that rule's.
      Norv::FlatHashMap<TakenKey, bool> taken;
      taken.reserve(acl.rules.size());
      const Orim::AclId aclId(Orim::ChipRuleListId(listId),
                              key.egress ? Orim::AclDirection::out : Orim::AclDirection::in);
      // Rules and their priorities both go by sequence number.
      auto prioAt = prio.begin();
      for (const auto& [seq, rule, mgd, group] : rules) {
         const Rule& r = *rule;
         const uint32_t stage = stages.at(group);
         const auto& keys = expander.expand(r);
         if (keys.empty()) {
            throw Error(chipText(chip) + ": rule " + std::to_string(seq) + " of ACL " +
                        key.acl + " expands to more than " +
                        std::to_string(kMaxEntriesPerRule) + " entries");
         }
         // What the rule's entries share, looked up when its first entry is made.
         std::map<Position, PlacedEntry>* table = nullptr;
         Orim::PerStageTableEntry e;
         decltype(view.config->stageHashTable(Orim::StageId(stage))) published;
         decltype(view.cap->stageHashTableDescriptor(Orim::StageId(stage))) desc;
         for (const auto& k : keys) {
            if (!taken.insert(takenKey(stage, k), true).second) continue;
            if (!table) {
               while (prioAt != prio.end() && prioAt->first < seq)
                  ++prioAt;
               const uint32_t priority =
                   prioAt != prio.end() && prioAt->first == seq ? prioAt->second : prio.at(seq);
               e.aclIdIs(aclId);
               e.maskGroupDescriptorIs(mgd);
               e.aclResultIs(r.permit);
               e.loggingIs(r.log);
               e.countingIs(r.count);
               e.priorityIs(static_cast<uint16_t>(priority));
               table = &plan.entries[stage];
            }
            e.pdKeyIs(k);
            if (!placedBefore.empty()) {
               const auto before = placedBefore.find(identityOf(stage, e));
               if (before != placedBefore.end()) {
                  e.ruleIdIs(before->second.second);
                  (*table)[before->second.first] = {e, key.acl, seq};
                  continue;
               }
            }
            // The first way where the hash finds room, neither published nor planned.
            if (!desc) {
               published =
                   view.config ? view.config->stageHashTable(Orim::StageId(stage)) : nullptr;
               desc = view.cap->stageHashTableDescriptor(Orim::StageId(stage));
            }
            std::vector<Position> tried;
            bool placed = false;
            for (uint32_t way = 0; way < view.ways && !placed; ++way) {
               const uint32_t h =
                   view.pd->getHash(k, desc, mgd, static_cast<uint8_t>(way), aclId);
               const Position pos(way, h);
               const auto at = table->lower_bound(pos);
               if ((at != table->end() && at->first == pos) ||
                   (published && published->tableColl().contains(pos))) {
                  tried.push_back(pos);
                  continue;
               }
               e.ruleIdIs(plan.nextRuleId++);
               table->emplace_hint(at, pos, PlacedEntry{e, key.acl, seq});
               placed = true;
            }
            if (!placed) {
               std::string ways;
               for (const auto& pos : tried) {
                  ways += (ways.empty() ? "" : ", ") + std::to_string(pos.way()) + ":" +
                          std::to_string(pos.hashIndex());
               }
               throw Error(chipText(chip) + ": no room for rule " + std::to_string(seq) +
                           " of ACL " + key.acl + " at stage " + std::to_string(stage) +
                           ": every way is taken where it hashes (way:index " + ways + ")");
            }
         }
      }
   }
   return plan;
}

} // namespace Sim::Acl
