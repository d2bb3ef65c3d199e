// Incremental equals cold start: after random ACL edits and rebindings, what the ACL layer has
// published for the chip means the same as what a fresh simulator publishes for the final ACLs.
// Meaning is read back from the published entities alone: labels as the prefixes and port
// ranges that carry them, rule lists as the interfaces and VLANs that reach them, priorities as
// their order.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "platform/OrimDataFlow.h"
#include "platform/OrimXform.h"
#include "sim/Sim.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclParse.h"

namespace {

constexpr uint32_t kChip = 1;
const char* const kSetup =
    "device add 1\ndevice up 1\nintf add Ethernet1 1\nintf add Ethernet2 1\n"
    "intf add Ethernet3 1\nhwacl port Ethernet1 1\nhwacl port Ethernet2 2\n"
    "hwacl port Ethernet3 3\n";

// Label -> what carries it, for one transform table (prefixes) or port table (ranges). A label
// several prefixes carry stands for the shortest of them: the others are kept only so that they
// never shadow it.
std::map<uint32_t, std::string> prefixMeaning(Sim::Simulator& sim, const char* v4,
                                              const char* v6) {
   std::map<uint32_t, std::pair<int, std::string>> best;
   for (const char* sm : {v4, v6}) {
      auto cfg = sim.world().get<Orim::IpGenPrefixConfig>(std::string(sm) + ".config");
      auto chip = cfg->chipIpGenPrefixConfig(Orim::ChipId(kChip));
      if (!chip) continue;
      for (auto it = chip->activeXformColl().begin(); it; ++it) {
         auto& b = best[it.value().xformed];
         if (b.second.empty() || it.key().len() < b.first)
            b = {it.key().len(), it.key().text()};
      }
   }
   std::map<uint32_t, std::string> out;
   for (const auto& [l, b] : best)
      out[l] = b.second;
   return out;
}

std::map<uint32_t, std::string> portMeaning(Sim::Simulator& sim, const char* sm) {
   std::map<uint32_t, std::string> out;
   auto cfg = sim.world().get<Orim::PortRangeConfig>(std::string(sm) + ".config");
   auto chip = cfg->chipPortRangeConfig(Orim::ChipId(kChip));
   if (!chip) return out;
   for (auto it = chip->activeXformColl().begin(); it; ++it) {
      out[it.value().xformed] =
          std::to_string(it.key().rangeStart) + "-" + std::to_string(it.key().rangeEnd);
   }
   return out;
}

std::string labelText(const std::map<uint32_t, std::string>& meaning, uint32_t label) {
   if (label == 0) return "any";
   const auto it = meaning.find(label);
   return it == meaning.end() ? "unknown label " + std::to_string(label) : it->second;
}

// Every published entry, as what it matches and does, per set of lookups that reach its list.
std::multiset<std::string> meaning(Sim::Simulator& sim) {
   auto config = sim.world()
                     .get<Orim::DataFlowConfig>("dataFlowConfig")
                     ->chipDataFlowConfig(Orim::ChipId(kChip));
   std::multiset<std::string> out;
   if (!config) return out;
   const auto sip = prefixMeaning(sim, "SrcV4PrefixXformSm", "SrcV6PrefixXformSm");
   const auto dip = prefixMeaning(sim, "DstV4PrefixXformSm", "DstV6PrefixXformSm");
   const auto sport = portMeaning(sim, "L4SrcPortXformSm");
   const auto dport = portMeaning(sim, "L4DstPortXformSm");
   std::map<uint32_t, std::set<std::string>> reachIndex;
   for (auto it = config->intfToHwAclIndexColl().begin(); it; ++it)
      reachIndex[it.value()].insert(it.key().text());
   for (auto it = config->vlanToHwAclIndexColl().begin(); it; ++it)
      reachIndex[it.value()].insert("vlan " + it.key().text());
   for (const auto& [index, who] : reachIndex) {
      for (const auto& w : who)
         out.insert("bound " + w);
   }
   // List, direction -> the lookups (interface or VLAN, table type) that reach it.
   std::map<std::pair<uint32_t, bool>, std::set<std::string>> reach;
   for (auto it = config->chipRuleListKeyToIdColl().begin(); it; ++it) {
      const bool out = it.key().direction() == Orim::AclDirection::out;
      for (const auto& who : reachIndex[it.key().hwAclIndex()]) {
         reach[{it.value().value(), out}].insert(who + " type " +
                                                 std::to_string(it.key().tableType()));
      }
   }
   // Priorities as ranks within the list.
   std::map<std::pair<uint32_t, bool>, std::set<int>> prios;
   std::vector<std::pair<std::pair<uint32_t, bool>, Orim::PerStageTableEntry>> entries;
   for (auto st = config->stageHashTableColl().begin(); st; ++st) {
      for (auto it = st.value()->tableColl().begin(); it; ++it) {
         const auto& e = it.value();
         const std::pair<uint32_t, bool> list{e.aclId().chipRuleListId().value(),
                                              e.aclId().direction() == Orim::AclDirection::out};
         prios[list].insert(-e.priority());
         entries.emplace_back(list, e);
      }
   }
   for (const auto& [list, e] : entries) {
      std::ostringstream o;
      for (const auto& r : reach[list])
         o << r << ", ";
      const auto& k = e.pdKey();
      const auto& m = e.maskGroupDescriptor();
      o << "| rank " << std::distance(prios[list].begin(), prios[list].find(-e.priority()))
        << " src " << labelText(sip, k.srcIpLabel()) << " dst "
        << labelText(dip, k.dstIpLabel()) << " sport " << labelText(sport, k.srcPortLabel())
        << " dport " << labelText(dport, k.dstPortLabel()) << " proto "
        << (m.ipProto() ? int(k.protocol()) : -1) << " ttl " << (m.ttl() ? int(k.ttl()) : -1)
        << " frag " << (m.ipFrag() && k.fragment()) << " est " << int(k.established())
        << (e.aclResult() ? " permit" : " deny") << (e.logging() ? " log" : "")
        << (e.counting() ? " count" : "");
      out.insert(o.str());
   }
   return out;
}

// A random rule from a few shapes, over prefixes that nest and ranges that overlap.
std::string randomRule(std::mt19937& rng) {
   const auto pick = [&](std::initializer_list<const char*> xs) {
      return std::string(*(xs.begin() + rng() % xs.size()));
   };
   const std::string action = pick({"permit", "deny", "permit count", "deny count log"});
   switch (rng() % 5) {
   case 0:
      return action + " ip src " + pick({"10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24"});
   case 1:
      return action + " ip dst " + pick({"192.168.0.0/16", "192.168.1.0/24"}) +
             " proto tcp dport " + pick({"80", "22", "1000-2000", "1500-3000"});
   case 2:
      return action + " ip proto udp sport " + pick({"53", "1-1023", "1000-1999"});
   case 3:
      return action + " ipv6 src " + pick({"2001:db8::/32", "2001:db8:1::/48"});
   default:
      return action + " ip" + pick({"", " ttl 1", " fragment", " proto 47"});
   }
}

std::string randomBinding(std::mt19937& rng) {
   static const char* const where[] = {"intf Ethernet1", "intf Ethernet2", "intf Ethernet3",
                                       "vlan 10", "vlan 20"};
   return std::string("1 ") + where[rng() % 5] + (rng() % 2 ? " in" : " out");
}

// The ACLs as commands that write them from nothing.
std::string coldText(Sim::Simulator& sim) {
   std::string text;
   for (const auto& [name, acl] : Sim::Acl::acls(sim)) {
      for (const auto& [seq, r] : acl.rules)
         text += "acl " + name + " rule " + std::to_string(seq) + " " + Sim::Acl::ruleText(r) +
                 "\n";
      for (const auto& b : acl.bindings) {
         text += "acl " + name + " bind " + std::to_string(b.chip) +
                 (b.kind == Sim::Acl::BindKind::intf ? " intf " + b.intf
                                                     : " vlan " + std::to_string(b.vlan)) +
                 (b.egress ? " out\n" : " in\n");
      }
   }
   return text;
}

// The chip model is one per process: one simulator at a time. The live one replays the edits
// (refused ones included: they change nothing) and is gone before the cold one starts.
std::pair<std::multiset<std::string>, std::string>
playLive(const std::vector<std::string>& edits) {
   std::ostringstream out, err;
   Sim::Simulator live(out);
   EXPECT_TRUE(live.runText("setup", kSetup, err)) << err.str();
   for (const auto& cmd : edits)
      live.runText("step", cmd + "\n", err);
   return {meaning(live), coldText(live)};
}

TEST(AclIncremental, RandomEditsMeanWhatAColdStartMeans) {
   size_t compared = 0;
   for (uint32_t seed = 1; seed <= 5; ++seed) {
      std::mt19937 rng(seed);
      std::vector<std::string> edits;
      const char* const names[] = {"a", "b", "c"};
      for (int step = 1; step <= 80; ++step) {
         const std::string name = names[rng() % 3];
         const int what = static_cast<int>(rng() % 20);
         if (what < 11) {
            edits.push_back("acl " + name + " rule " + std::to_string(10 * (1 + rng() % 12)) +
                            " " + randomRule(rng));
         } else if (what < 14) {
            edits.push_back("acl " + name + " no-rule " +
                            std::to_string(10 * (1 + rng() % 12)));
         } else if (what < 19) {
            edits.push_back("acl " + name + (rng() % 3 ? " bind " : " unbind ") +
                            randomBinding(rng));
         } else {
            edits.push_back("acl " + name + " remove");
         }
         if (step % 20) continue;
         const auto [live, cold] = playLive(edits);
         std::ostringstream out, err;
         Sim::Simulator fresh(out);
         ASSERT_TRUE(fresh.runText("cold", std::string(kSetup) + cold, err)) << err.str();
         const auto want = meaning(fresh);
         compared += want.size();
         ASSERT_EQ(live, want) << "seed " << seed << " step " << step;
      }
   }
   EXPECT_GT(compared, 200u); // the edits left entries to compare
}

} // namespace
