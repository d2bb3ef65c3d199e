#include <benchmark/benchmark.h>

#include <vector>

#include "bench/FastestRounds.h"
#include "platform/OrimDataFlow.h"
#include "platform/XpVif.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/hwaclid/XpAclHwAclIdSm.h"

// Hardware ACL ids on a chip carrying 4,094 VLANs on each of 64 ports, each case next to the
// chip model's bare operations on exactly the entries the case changes:
// - a VLAN's routed ACL moves to another index: its 64 ingress VIF and 64 egress entries are
//   rewritten (target: ratio at most 3);
// - a port's port ACL moves to another index: its port entry and its 4,094 egress entries;
// - a port joins a LAG that has no VIF (its 4,094 egress entries go) and leaves it again
//   (they come back): handlePortToLag against the bare removals and additions.

namespace {

constexpr uint16_t kVlans = 4094;
constexpr uint32_t kPorts = 64;
const Orim::ChipId kChip(0);

xpPortVlanIvifMgr* ivifModel() {
   return xpIfPl::instance()->getMgr<xpPortVlanIvifMgr>(
       xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
}
xpEgressBdEvifMgr* evifModel() {
   return xpIfPl::instance()->getMgr<xpEgressBdEvifMgr>(
       xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0));
}

Plexo::IntfId port(uint32_t n) {
   return Plexo::IntfId::ethernet(n);
}

// The chip with every port on every VLAN, each port's VIF its port number; every VLAN's
// routed ACLs on index 1, every port's port ACLs on index 3.
struct World {
   World() {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      xpDeviceProfile p;
      p.portVlanIvifEntries = 1u << 19;
      p.egressBdEvifEntries = 1u << 19;
      xpDeviceMgr::instance()->addDevice(0, p);
      auto cfg = flow->chipDataFlowConfigIs(kChip);
      for (uint8_t index : {1, 2, 3, 4}) {
         for (uint8_t type = 1; type <= 4; ++type) {
            for (auto dir : {Orim::AclDirection::in, Orim::AclDirection::out})
               cfg->chipRuleListKeyToIdIs(Orim::ChipRuleListIdKey(index, 0, type, dir),
                                          Orim::ChipRuleListId(index));
         }
      }
      for (uint32_t n = 1; n <= kPorts; ++n) {
         xpcsd->intfToDevIdIs(port(n), Corvo::Central::DeviceId(0));
         vifs->intfToChipPortIs(port(n), XpVif::ChipPort(0, XpVif::VifId(n)));
         cfg->intfToHwAclIndexIs(port(n), 3);
      }
      for (uint16_t v = 1; v <= kVlans; ++v)
         cfg->vlanToHwAclIndexIs(Bridging::VlanId(v), 1);
      sm = XpAcl::hwAclIdSmFactory(flow, pv, vifs, system, pd, xpcsd);
      for (uint32_t n = 1; n <= kPorts; ++n) {
         for (uint16_t v = 1; v <= kVlans; ++v)
            pv->portVlanToVifMapIs(XpLib::PortAndVlanId(port(n), v), XpVif::VifId(n));
      }
   }
   Norv::Ptr<Orim::DataFlowConfig> flow = Orim::dataFlowConfigFactory("flow");
   Norv::Ptr<XpVif::PortVlanVifStatus> pv = XpVif::portVlanVifStatusFactory("pv");
   Norv::Ptr<XpVif::PortVifStatus> vifs = XpVif::portVifStatusFactory("vifs");
   Norv::Ptr<XpSystem::SystemStatus> system = XpSystem::systemStatusFactory("sys");
   Norv::Ptr<Orim::PDConfig> pd = Orim::pDConfigFactory("pd");
   Norv::Ptr<XpAcl::XpAclCommonSmData> xpcsd = XpAcl::xpAclCommonSmDataFactory("xpcsd");
   Norv::Ptr<XpAcl::HwAclIdSm> sm;
};

uint64_t writes() {
   return ivifModel()->calls("writeEntry") + evifModel()->calls("writeEntry") +
          xpIfPl::instance()
              ->getMgr<xpPortConfigMgr>(xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0))
              ->calls("writeEntry");
}

// The bare writes of the given entries at their indexes.
struct BareWrites {
   std::vector<std::pair<uint32_t, xpPortVlanIvifEntry>> ivif;
   std::vector<std::pair<uint32_t, xpEgressBdEvifEntry>> evif;

   void addPair(uint32_t portNumber, uint16_t vlan, bool withIvif) {
      xpPortVlanIvifEntry i;
      i.key = {static_cast<uint16_t>(portNumber), vlan};
      uint32_t index = 0;
      if (withIvif && ivifModel()->lookup(0, &i, index, 0) == XP_NO_ERR) {
         ivifModel()->readEntry(0, 0, index, &i);
         ivif.push_back({index, i});
      }
      xpEgressBdEvifEntry e;
      e.key = {static_cast<uint16_t>(portNumber), vlan};
      if (evifModel()->lookup(0, &e, index) == XP_NO_ERR) {
         evifModel()->readEntry(0, index, &e);
         evif.push_back({index, e});
      }
   }
   // Takes the values the entries hold now, so that the bare writes change nothing.
   void refresh() {
      for (auto& [index, e] : ivif)
         ivifModel()->readEntry(0, 0, index, &e);
      for (auto& [index, e] : evif)
         evifModel()->readEntry(0, index, &e);
   }
   [[gnu::noinline]] void run() const {
      for (const auto& [index, e] : ivif)
         ivifModel()->writeEntry(0, 0, index, &e);
      for (const auto& [index, e] : evif)
         evifModel()->writeEntry(0, index, &e);
      benchmark::ClobberMemory();
   }
   size_t size() const { return ivif.size() + evif.size(); }
};

// Times `change(round)`, one binding change per round, against the bare writes of `bare`,
// and counts the writes of the last change.
template <class Change>
void timeBindingChange(benchmark::State& state, BareWrites& bare, Change&& change) {
   FastestRounds rounds;
   uint64_t written = 0;
   uint32_t round = 0;
   for (auto _ : state) {
      const uint64_t before = writes();
      rounds.time(FastestRounds::kCase, [&] { change(round++); });
      written = writes() - before;
      bare.refresh();
      rounds.time(FastestRounds::kBaseline, [&] { bare.run(); });
   }
   state.counters["writes"] = static_cast<double>(written);
   state.counters["bare_writes"] = static_cast<double>(bare.size());
   rounds.report(state, "binding", "bare", static_cast<double>(bare.size()));
}

void BM_VlanBindingChange(benchmark::State& state) {
   World w;
   auto cfg = w.flow->chipDataFlowConfig(kChip);
   const Bridging::VlanId vlan(100);
   BareWrites bare;
   for (uint32_t n = 1; n <= kPorts; ++n)
      bare.addPair(n, vlan.value(), true);
   timeBindingChange(state, bare,
                     [&](uint32_t round) { cfg->vlanToHwAclIndexIs(vlan, round % 2 ? 1 : 2); });
}
BENCHMARK(BM_VlanBindingChange)->Iterations(40)->Unit(benchmark::kMicrosecond);

void BM_PortBindingChange(benchmark::State& state) {
   World w;
   auto cfg = w.flow->chipDataFlowConfig(kChip);
   BareWrites bare;
   for (uint16_t v = 1; v <= kVlans; ++v)
      bare.addPair(7, v, false);
   timeBindingChange(state, bare, [&](uint32_t round) {
      cfg->intfToHwAclIndexIs(port(7), round % 2 ? 3 : 4);
   });
}
BENCHMARK(BM_PortBindingChange)->Iterations(20)->Unit(benchmark::kMicrosecond);

void BM_PortToLag(benchmark::State& state) {
   World w;
   // The port's egress entries, removed and added back by the chip model alone.
   std::vector<xpEgressBdEvifEntry> entries;
   for (uint16_t v = 1; v <= kVlans; ++v) {
      xpEgressBdEvifEntry e;
      e.key = {9, v};
      uint32_t index = 0;
      evifModel()->lookup(0, &e, index);
      evifModel()->readEntry(0, index, &e);
      entries.push_back(e);
   }
   FastestRounds rounds;
   const Plexo::IntfId lag = Plexo::IntfId::portChannel(1);
   const uint64_t removesBefore = evifModel()->calls("removeEntry");
   for (auto _ : state) {
      rounds.time(FastestRounds::kBaseline, [&] {
         for (const auto& e : entries) {
            uint32_t index = 0;
            evifModel()->lookup(0, &e, index);
            evifModel()->removeEntry(0, index);
         }
         xpsHashIndexList list;
         for (const auto& e : entries)
            evifModel()->addEntry(0, &e, &list);
         benchmark::ClobberMemory();
      });
      rounds.time(FastestRounds::kCase, [&] {
         w.xpcsd->portToLagIs(port(9), lag);
         w.xpcsd->portToLagDel(port(9));
      });
   }
   state.counters["removes_per_round"] =
       static_cast<double>(evifModel()->calls("removeEntry") - removesBefore) /
       (2.0 * static_cast<double>(state.iterations()));
   rounds.report(state, "portToLag", "bare", 2.0 * kVlans);
}
BENCHMARK(BM_PortToLag)->Iterations(10)->Unit(benchmark::kMillisecond);

} // namespace
