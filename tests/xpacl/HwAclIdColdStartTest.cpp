// A random sequence of bindings, rule lists, global controls, blocks, VIF and LAG changes
// against a cold start of its final configuration (a fresh chip model and fresh reactors).
// Where the incremental rules leave a difference by design, the test names the case and
// checks that the difference is that case's; any other difference fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/xpacl/HwAclTestWorld.h"

using namespace XpAclTest;
using XpAcl::AclIdEn;

namespace {

constexpr uint32_t kChips = 2;
constexpr uint16_t kNoPort = 65535;

// What one chip holds after a run: the three tables and the reactor's own records.
struct ChipState {
   ChipTables tables;
   std::map<Plexo::IntfId, AclIdEn> inPort, outPort;
   std::map<uint16_t, AclIdEn> inRoute, outRoute;
   std::map<std::pair<int, int>, std::set<XpLib::PortAndVlanId>> evifUsers;
   std::map<XpLib::PortAndVlanId, uint16_t> vifMap;
   std::set<Plexo::IntfId> lagMembers;
};

ChipState snapshot(const HwAclWorld& w, uint32_t chip) {
   ChipState s;
   s.tables = readTables(static_cast<uint8_t>(chip));
   const auto* sm = w.chipSm(chip);
   const auto& m = *sm->chipHwAclIdMap();
   for (auto it = m.ingressPortAclIdEnColl().begin(); it; ++it)
      s.inPort[it.key()] = it.value();
   for (auto it = m.egressPortAclIdEnColl().begin(); it; ++it)
      s.outPort[it.key()] = it.value();
   for (auto it = m.ingressRouteAclIdEnColl().begin(); it; ++it)
      s.inRoute[it.key().value()] = it.value();
   for (auto it = m.egressRouteAclIdEnColl().begin(); it; ++it)
      s.outRoute[it.key().value()] = it.value();
   for (auto it = sm->egressVifVlanInfoColl().begin(); it; ++it) {
      for (auto u = it.value()->portVlanColl().begin(); u; ++u)
         s.evifUsers[{it.key().vif(), it.key().vlanId()}].insert(u.key());
   }
   for (auto it = sm->chipPortVlanVifStatus()->portVlanToVifMapColl().begin(); it; ++it)
      s.vifMap[it.key()] = it.value().value();
   for (auto it = sm->portToLagCacheColl().begin(); it; ++it)
      s.lagMembers.insert(it.key());
   return s;
}

template <class K>
AclIdEn at(const std::map<K, AclIdEn>& m, const K& k) {
   auto it = m.find(k);
   return it == m.end() ? AclIdEn() : it->second;
}

// The prescribed cases, each with the rule that leaves it.
const std::map<std::string, std::string> kCases = {
    {"rule-list key after its users",
     "handleChipRuleListKeyToId sets the index's flags but does not itself re-resolve the "
     "users; only doApplyConfig (start, global control) runs it before the resolving "
     "handlers"},
    {"blocked after losing its binding",
     "setPortAclIdEn/setRouteAclIdEn block whatever they resolve while globalAclControl is 1, "
     "mapped or not, in both directions; a cold start resolves only mapped and blocked "
     "interfaces and VLANs and gives unmapped ports reconcilePortAclEn's ingress deny-all"},
    {"shared chip port 65535",
     "a port without a chip port number is programmed with port number 65535, so all such "
     "interfaces (port-channels) share one port and port-VLAN entry, holding the last write"},
    {"shared egress entry keeps the last writer",
     "pairs with the same egress VIF and VLAN share one entry, written by each pair with its "
     "own port binding, so it holds the value of the last pair that wrote it"},
    {"port-channel members programmed on membership changes",
     "a port-channel interface is skipped and its members are programmed by handlePortToLag; "
     "a port-channel's VIF change does not reach its members, and a cold start, which runs no "
     "handlePortToLag, programs none of them"},
    {"port-channel VIF entries not re-split",
     "handlePortVlanToVifMap splits a port-channel's entry to the chips of its members when "
     "the entry changes; LAG membership changes do not re-split it"},
};

struct Diff {
   std::set<std::string> met;
   std::vector<std::string> unexplained;
};

uint32_t egressValue(const ChipState& s, const XpLib::PortAndVlanId& pair) {
   const AclIdEn p = at(s.outPort, pair.intfId());
   const AclIdEn r = at(s.outRoute, pair.vlanId());
   auto id = [](const AclIdEn& b) { return b.blocked() ? 0 : b.aclId(); };
   return xpEgressBdEvifData::pack(id(p), p.v4En(), p.v6En(), id(r), r.v4En(), r.v6En());
}

// Names the case of a binding that differs, or nothing.
std::string bindingCase(const AclIdEn& inc, const AclIdEn& cold, bool mapped, bool blocked) {
   if (inc.aclId() == cold.aclId() && inc.blocked() == cold.blocked() && !inc.blocked()) {
      return "rule-list key after its users";
   }
   if (!mapped && !blocked && inc.blocked() && inc.aclId() == 0 && !cold.blocked()) {
      return "blocked after losing its binding";
   }
   return "";
}

void compareChip(uint32_t chip, const ChipState& a, const ChipState& b,
                 const Orim::ChipDataFlowConfig& cfg, const Orim::PDConfig& pd,
                 const Norv::Ptr<XpAcl::XpAclCommonSmData>& xpcsd,
                 const XpVif::PortVifStatus& portVif, Diff& d) {
   const std::string where = "chip " + std::to_string(chip) + ": ";
   auto fail = [&](const std::string& what) { d.unexplained.push_back(where + what); };
   // The bindings.
   std::set<Plexo::IntfId> portsDiffer;
   std::set<uint16_t> vlansDiffer;
   auto intfs = [](const auto& x, const auto& y) {
      std::set<Plexo::IntfId> k;
      for (const auto& [i, v] : x)
         k.insert(i);
      for (const auto& [i, v] : y)
         k.insert(i);
      return k;
   };
   for (const auto& intf : intfs(a.inPort, b.inPort)) {
      const AclIdEn x = at(a.inPort, intf), y = at(b.inPort, intf);
      if (x == y) continue;
      portsDiffer.insert(intf);
      const std::string c =
          bindingCase(x, y, cfg.intfToHwAclIndexColl().contains(intf), pd.blockedIntf(intf));
      c.empty()
          ? fail("ingress binding of " + intf.text() + ": " + x.text() + " vs " + y.text())
          : void(d.met.insert(c));
   }
   for (const auto& intf : intfs(a.outPort, b.outPort)) {
      const AclIdEn x = at(a.outPort, intf), y = at(b.outPort, intf);
      if (x == y) continue;
      portsDiffer.insert(intf);
      const std::string c =
          bindingCase(x, y, cfg.intfToHwAclIndexColl().contains(intf), pd.blockedIntf(intf));
      c.empty() ? fail("egress binding of " + intf.text() + ": " + x.text() + " vs " + y.text())
                : void(d.met.insert(c));
   }
   for (int dir = 0; dir < 2; ++dir) {
      const auto& x = dir ? a.outRoute : a.inRoute;
      const auto& y = dir ? b.outRoute : b.inRoute;
      std::set<uint16_t> vlans;
      for (const auto& [v, e] : x)
         vlans.insert(v);
      for (const auto& [v, e] : y)
         vlans.insert(v);
      for (uint16_t v : vlans) {
         const AclIdEn p = at(x, v), q = at(y, v);
         if (p == q) continue;
         vlansDiffer.insert(v);
         const Bridging::VlanId vlan(v);
         const std::string c = bindingCase(p, q, cfg.vlanToHwAclIndexColl().contains(vlan),
                                           pd.blockedIntf(Plexo::IntfId::vlan(vlan)));
         c.empty() ? fail("route binding of VLAN " + std::to_string(v) + ": " + p.text() +
                          " vs " + q.text())
                   : void(d.met.insert(c));
      }
   }
   // The chip's share of the port-VLAN VIFs: only port-channel pairs may differ.
   bool lagSplitDiffers = false;
   for (const auto* m : {&a.vifMap, &b.vifMap}) {
      for (const auto& [pair, vif] : *m) {
         const auto& other = m == &a.vifMap ? b.vifMap : a.vifMap;
         auto it = other.find(pair);
         if (it != other.end() && it->second == vif) continue;
         if (pair.intfId().isPortChannel()) {
            lagSplitDiffers = true;
            d.met.insert("port-channel VIF entries not re-split");
         } else {
            fail("VIF of " + pair.text());
         }
      }
   }
   // The port configuration table.
   std::set<uint32_t> ports;
   for (const auto& [p, v] : a.tables.port)
      ports.insert(p);
   for (const auto& [p, v] : b.tables.port)
      ports.insert(p);
   for (uint32_t p : ports) {
      auto x = a.tables.port.find(p), y = b.tables.port.find(p);
      if (x != a.tables.port.end() && y != b.tables.port.end() && x->second == y->second) {
         continue;
      }
      if (p == kNoPort) {
         d.met.insert("shared chip port 65535");
         continue;
      }
      bool explained = false;
      for (const auto& intf : portsDiffer) {
         const auto* cp = portVif.intfToChipPortColl().find(intf);
         explained = explained || (cp && cp->portVif().value() == p);
      }
      if (!explained) fail("port entry " + std::to_string(p));
   }
   // The port-VLAN ingress VIF table.
   std::set<std::pair<int, int>> keys;
   for (const auto& [k, v] : a.tables.ivif)
      keys.insert(k);
   for (const auto& [k, v] : b.tables.ivif)
      keys.insert(k);
   for (const auto& k : keys) {
      auto x = a.tables.ivif.find(k), y = b.tables.ivif.find(k);
      if (x != a.tables.ivif.end() && y != b.tables.ivif.end() && x->second == y->second) {
         continue;
      }
      if (k.first == kNoPort) {
         d.met.insert("shared chip port 65535");
      } else if (!vlansDiffer.contains(static_cast<uint16_t>(k.second))) {
         fail("ivif entry " + std::to_string(k.first) + "/" + std::to_string(k.second));
      }
   }
   // The egress BD-EVIF table.
   keys.clear();
   for (const auto& [k, v] : a.tables.evif)
      keys.insert(k);
   for (const auto& [k, v] : b.tables.evif)
      keys.insert(k);
   for (const auto& k : keys) {
      auto x = a.tables.evif.find(k), y = b.tables.evif.find(k);
      const bool both = x != a.tables.evif.end() && y != b.tables.evif.end();
      if (both && x->second == y->second) continue;
      std::set<XpLib::PortAndVlanId> users;
      for (const auto* s : {&a, &b}) {
         if (auto u = s->evifUsers.find(k); u != s->evifUsers.end()) {
            users.insert(u->second.begin(), u->second.end());
         }
      }
      bool cascade = vlansDiffer.contains(static_cast<uint16_t>(k.second));
      bool member = lagSplitDiffers;
      std::set<uint32_t> values;
      for (const auto& pair : users) {
         cascade = cascade || portsDiffer.contains(pair.intfId());
         member = member || !xpcsd->portToLag(pair.intfId()).isEmpty() ||
                  a.lagMembers.contains(pair.intfId());
         values.insert(egressValue(b, pair));
      }
      if (member) {
         d.met.insert("port-channel members programmed on membership changes");
      } else if (both && values.size() > 1 && values.contains(x->second) &&
                 values.contains(y->second)) {
         d.met.insert("shared egress entry keeps the last writer");
      } else if (!cascade) {
         fail("evif entry " + std::to_string(k.first) + "/" + std::to_string(k.second));
      }
   }
}

struct RandomRun {
   explicit RandomRun(unsigned seed) : rng(seed) {}

   int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); }

   void setUp() {
      for (uint32_t n = 1; n <= 6; ++n)
         w.port(eth(n), n <= 3 ? 0 : 1, static_cast<uint16_t>(10 + n));
      // A port the system knows without a chip port number.
      w.xpcsd->intfToDevIdIs(eth(7), Corvo::Central::DeviceId(0));
      for (uint32_t c = 0; c < kChips; ++c)
         w.cfg(c);
      w.start();
   }

   Plexo::IntfId anyPort() { return eth(1 + pick(7)); }
   Plexo::IntfId anyIntf() { return pick(4) == 0 ? lagIntf(1 + pick(2)) : anyPort(); }
   uint16_t anyVlan() { return static_cast<uint16_t>(10 + pick(3)); }
   uint8_t anyIndex() { return static_cast<uint8_t>(1 + pick(3)); }
   int members(const Plexo::IntfId& lag) {
      int n = 0;
      for (auto it = w.xpcsd->portToLagColl().begin(); it; ++it)
         n += it.value() == lag;
      return n;
   }
   bool hasMembers(const Plexo::IntfId& lag) { return members(lag) > 0; }
   bool hasVif(const Plexo::IntfId& lag) {
      for (auto it = w.portVlanVif->portVlanToVifMapColl().begin(); it; ++it) {
         if (it.key().intfId() == lag) return true;
      }
      return false;
   }

   void step() {
      const uint32_t chip = static_cast<uint32_t>(pick(kChips));
      auto cfg = w.cfg(chip);
      switch (pick(9)) {
      case 0:
         pick(3) ? cfg->intfToHwAclIndexIs(anyIntf(), anyIndex())
                 : cfg->intfToHwAclIndexDel(anyIntf());
         break;
      case 1: {
         const Bridging::VlanId vlan(anyVlan());
         pick(3) ? cfg->vlanToHwAclIndexIs(vlan, anyIndex()) : cfg->vlanToHwAclIndexDel(vlan);
         break;
      }
      case 2:
      case 3:
         w.ruleList(chip, anyIndex(), static_cast<uint8_t>(1 + pick(4)), pick(2), pick(3) != 0);
         break;
      case 4: {
         const int r = pick(6);
         cfg->globalAclControlIs(static_cast<Orim::GlobalAclControl>(r < 4 ? 0 : r - 3));
         break;
      }
      case 5:
         w.block(pick(3) ? anyPort() : vlanIntf(anyVlan()), pick(2));
         break;
      case 6:
      case 7: {
         const Plexo::IntfId intf = anyIntf();
         const uint16_t vlan = anyVlan();
         // A port-channel's entry needs a member to split it to (an invariant of the
         // driver), so the sequence never touches one that has none.
         if (intf.isPortChannel() && !hasMembers(intf)) break;
         if (pick(4) == 0) {
            w.vifDel(intf, vlan);
         } else {
            w.vif(intf, vlan, static_cast<uint16_t>(100 + pick(4)));
         }
         break;
      }
      case 8: {
         const Plexo::IntfId port = anyPort();
         const Plexo::IntfId old = w.xpcsd->portToLag(port);
         if (!old.isEmpty() && hasVif(old) && members(old) == 1) break;
         pick(2) ? w.xpcsd->portToLagIs(port, lagIntf(1 + pick(2)))
                 : w.xpcsd->portToLagDel(port);
         break;
      }
      }
   }

   std::mt19937 rng;
   HwAclWorld w;
};

TEST(HwAclIdColdStartTest, RandomSequencesEndAsAColdStartExceptForTheNamedCases) {
   std::set<std::string> met;
   int runs = 0, steps = 0, differing = 0;
   for (unsigned seed = 1; seed <= 60; ++seed) {
      RandomRun run(seed);
      run.setUp();
      const int n = 20 + run.pick(60);
      for (int i = 0; i < n; ++i)
         run.step();
      steps += n;
      ++runs;
      std::vector<ChipState> incremental;
      for (uint32_t c = 0; c < kChips; ++c)
         incremental.push_back(snapshot(run.w, c));
      // The cold start: the same final inputs, a fresh chip model and fresh reactors.
      run.w.sm = nullptr;
      xpSdkInit();
      for (uint32_t c = 0; c < kChips; ++c)
         xpDeviceMgr::instance()->addDevice(static_cast<uint8_t>(c),
                                            HwAclWorld::smallProfile());
      run.w.start();
      Diff d;
      for (uint32_t c = 0; c < kChips; ++c) {
         const ChipState cold = snapshot(run.w, c);
         compareChip(c, incremental[c], cold, *run.w.cfg(c), *run.w.pd, run.w.xpcsd,
                     *run.w.portVif, d);
      }
      for (const auto& u : d.unexplained)
         ADD_FAILURE() << "seed " << seed << ": unexplained difference, " << u;
      if (!d.met.empty()) ++differing;
      met.insert(d.met.begin(), d.met.end());
   }
   std::printf("%d runs, %d steps, %d ended apart from a cold start; cases met:\n", runs, steps,
               differing);
   for (const auto& c : met) {
      ASSERT_TRUE(kCases.contains(c));
      std::printf("  %s: %s\n", c.c_str(), kCases.at(c).c_str());
   }
}

} // namespace
