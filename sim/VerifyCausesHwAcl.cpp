// A difference of the port, port-VLAN and egress tables that the driver's resolution order
// leaves: a binding is resolved when its interface or VLAN changes, against the rule-list keys
// its hardware ACL index has at that moment. A key published (or withdrawn) after the binding
// does not resolve it again, so its IPv4/IPv6 enables stay as they were, where a cold start,
// which has the keys first, resolves them with the keys.
#include <string>

#include "platform/OrimDataFlow.h"
#include "platform/XpVif.h"
#include "sim/Sim.h"
#include "sim/Verify.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xpacl/hwaclid/XpAclChipHwAclIdSm.h"
#include "xpacl/hwaclid/XpAclHwAclIdSm.h"

namespace Sim {

namespace {

// Whether the binding's enables are not those its index's keys give now. Blocked bindings and
// bindings under a global control other than normal set their enables themselves.
bool staleBinding(const Orim::ChipDataFlowConfig& flow, const XpAcl::AclIdEn& b, bool routed,
                  bool egress) {
   if (b.blocked() || b.aclId() == 0 ||
       flow.globalAclControl() != Orim::GlobalAclControl::globalAclNormal)
      return false;
   const Acl::AclDirection dir = egress ? Acl::AclDirection::out : Acl::AclDirection::in;
   bool v4 = false;
   bool v6 = false;
   for (auto it = flow.chipRuleListKeyToIdColl().begin(); it; ++it) {
      const Orim::ChipRuleListIdKey& k = it.key();
      if (k.hwAclIndex() != b.aclId() || k.direction() != dir) continue;
      v4 |= k.tableType() == (routed ? 2 : 1);
      v6 |= k.tableType() == (routed ? 4 : 3);
   }
   return v4 != b.v4En() || v6 != b.v6En();
}

// The number after `word ` in the key text, if there is one.
bool field(const std::string& key, const std::string& word, uint32_t& value) {
   const size_t at = key.find(word + " ");
   if (at == std::string::npos) return false;
   value = static_cast<uint32_t>(std::stoul(key.substr(at + word.size() + 1)));
   return true;
}

std::string staleBindingCause(Simulator& s, const xpChipDifference& d) {
   const bool portTable = d.table == "xpPortConfigMgr";
   const bool ivif = d.table == "xpPortVlanIvifMgr";
   const bool evif = d.table == "xpEgressBdEvifMgr";
   if (!portTable && !ivif && !evif) return "";
   const Orim::ChipId chip(d.device);
   auto hwAcl = s.world().get<XpAcl::HwAclIdSm>("hwAclIdSm");
   auto chipSm = hwAcl ? hwAcl->chipHwAclIdSm(chip) : nullptr;
   auto flows = s.world().get<Orim::DataFlowConfig>("dataFlowConfig");
   auto flow = flows ? flows->chipDataFlowConfig(chip) : nullptr;
   auto ports = s.world().get<XpVif::PortVifStatus>("portVifStatus");
   auto pairs = s.world().get<XpVif::PortVlanVifStatus>("portVlanVifStatus");
   if (!chipSm || !flow || !ports || !pairs) return "";
   const XpAcl::ChipHwAclIdMap& map = *chipSm->chipHwAclIdMap();
   bool stale = false;
   uint32_t port = 0;
   uint32_t vlan = 0;
   uint32_t vif = 0;
   if (portTable && field(d.key, "index", port)) {
      for (auto it = ports->intfToChipPortColl().begin(); it; ++it) {
         if (it.value().deviceId() == d.device && it.value().portVif().value() == port)
            stale |= staleBinding(*flow, map.ingressPortAclIdEn(it.key()), false, false);
      }
   } else if (ivif && field(d.key, "vlan", vlan) && vlan >= 1 && vlan <= 4094) {
      stale = staleBinding(*flow, map.ingressRouteAclIdEn(Bridging::VlanId(vlan)), true, false);
   } else if (evif && field(d.key, "vif", vif) && field(d.key, "vlan", vlan) && vlan >= 1 &&
              vlan <= 4094) {
      stale = staleBinding(*flow, map.egressRouteAclIdEn(Bridging::VlanId(vlan)), true, true);
      for (auto it = pairs->portVlanToVifMapColl().begin(); it; ++it) {
         if (it.key().vlanId() == vlan && it.value().value() == vif)
            stale |= staleBinding(*flow, map.egressPortAclIdEn(it.key().intfId()), false, true);
      }
   }
   if (!stale) return "";
   return "a rule-list key of the binding's hardware ACL index came or went after the binding, "
          "and the driver does not resolve a binding again for its index's keys";
}

// The chip port the driver programs for an interface without a number.
constexpr uint32_t kNoPort = 65535;

// Whether the live port-VLAN table holds an entry of the VLAN under the port-less number.
bool portlessEntry(uint32_t device, uint32_t vlan) {
   const auto* ivif = xpIfPl::instance()->getMgr<xpPortVlanIvifMgr>(
       xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
   if (!ivif || device >= XP_MAX_DEVICES) return false;
   bool found = false;
   for (const auto& copy : ivif->tables(static_cast<xpsDevice_t>(device))) {
      copy.forEachValid([&](uint32_t, const xpPortVlanIvifKey& k, const xpPortVlanIvifData&) {
         found |= k.port == kNoPort && k.vlanId == vlan;
      });
   }
   return found;
}

// A port-VLAN entry written while its interface had no chip port number sits under the
// port-less number, and the driver, which follows VIFs and bindings but not port numbers,
// leaves it there once the number comes; a cold start writes it under the number.
std::string portNumberCause(Simulator& s, const xpChipDifference& d) {
   uint32_t port = 0;
   uint32_t vlan = 0;
   if (d.table != "xpPortVlanIvifMgr" || !field(d.key, "port", port) ||
       !field(d.key, "vlan", vlan))
      return "";
   auto ports = s.world().get<XpVif::PortVifStatus>("portVifStatus");
   auto pairs = s.world().get<XpVif::PortVlanVifStatus>("portVlanVifStatus");
   if (!ports || !pairs) return "";
   const bool stalePortless = port == kNoPort && d.live && !d.cold;
   const bool missingNumbered =
       port != kNoPort && d.cold && !d.live && portlessEntry(d.device, vlan);
   if (!stalePortless && !missingNumbered) return "";
   for (auto it = pairs->portVlanToVifMapColl().begin(); it; ++it) {
      if (it.key().vlanId() != vlan) continue;
      const XpVif::ChipPort* at = ports->intfToChipPortColl().find(it.key().intfId());
      if (!at || at->deviceId() != d.device || at->portVif().value() == kNoPort) continue;
      if (stalePortless || at->portVif().value() == port) {
         return "the port-VLAN entry was written before its interface had a chip port number "
                "(under port 65535), and the driver does not follow port numbers";
      }
   }
   return "";
}

const VerifyCauseRegistration reg({staleBindingCause, nullptr});
const VerifyCauseRegistration regPort({portNumberCause, nullptr});

} // namespace

} // namespace Sim
