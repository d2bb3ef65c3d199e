// Differences of the port, port-VLAN and egress tables that the driver's resolution order
// leaves. A binding is resolved when its interface or VLAN changes, against the rule-list keys
// its hardware ACL index has at that moment: a key published (or withdrawn) after the binding
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

// Under a global block-all the driver resolves an interface to the blocking binding whenever
// it meets one (a block, an index), and an interface unblocked afterwards, without an index,
// keeps it, whatever the control becomes: nothing resolves it again. A cold start meets such
// an interface only in the reconciliation, which gives a numbered port the ingress deny-all
// alone under block-all, clears it otherwise, and leaves a port without a number out.
std::string blockAllCause(Simulator& s, const xpChipDifference& d) {
   const bool portTable = d.table == "xpPortConfigMgr";
   const bool ivif = d.table == "xpPortVlanIvifMgr";
   uint32_t at = 0;
   uint32_t vif = 0;
   uint32_t vlan = 0;
   if (!(portTable && field(d.key, "index", at)) && !(ivif && field(d.key, "vlan", vlan)) &&
       !(d.table == "xpEgressBdEvifMgr" && field(d.key, "vif", vif) &&
         field(d.key, "vlan", vlan)))
      return "";
   const Orim::ChipId chip(d.device);
   auto hwAcl = s.world().get<XpAcl::HwAclIdSm>("hwAclIdSm");
   auto chipSm = hwAcl ? hwAcl->chipHwAclIdSm(chip) : nullptr;
   auto flows = s.world().get<Orim::DataFlowConfig>("dataFlowConfig");
   auto flow = flows ? flows->chipDataFlowConfig(chip) : nullptr;
   auto ports = s.world().get<XpVif::PortVifStatus>("portVifStatus");
   if (!chipSm || !flow || !ports) return "";
   const auto& blocked = chipSm->chipAaclBlockedIntfColl();
   const auto& pairs = chipSm->chipPortVlanVifStatus();
   const auto& map = *chipSm->chipHwAclIdMap();
   // The VLAN, unblocked and without an index, that still holds a blocking binding.
   if (!portTable && vlan >= 1 && vlan <= 4094) {
      const Bridging::VlanId id(vlan);
      const auto& blockedVlans = chipSm->aaclBlockedVlanColl();
      const XpAcl::AclIdEn& b = ivif ? map.ingressRouteAclIdEn(id) : map.egressRouteAclIdEn(id);
      if (b.blocked() && !(blockedVlans && blockedVlans->blockedVlanColl().contains(id)) &&
          !flow->vlanToHwAclIndexColl().contains(id)) {
         return "the VLAN was resolved under block-all and, without a block or an index, "
                "keeps the blocking binding (a cold start resolves only the VLANs that have "
                "one)";
      }
   }
   if (ivif) return "";
   // The unblocked interfaces without an index that still hold a blocking binding.
   for (auto it = map.ingressPortAclIdEnColl().begin(); it; ++it) {
      const Plexo::IntfId& intf = it.key();
      if (!it.value().blocked() || (blocked && blocked->blockedIntfColl().contains(intf)) ||
          flow->intfToHwAclIndexColl().contains(intf))
         continue;
      bool concerned = false;
      if (portTable) {
         const XpVif::ChipPort* number = ports->intfToChipPortColl().find(intf);
         concerned = (number ? number->portVif().value() : kNoPort) == at;
      } else if (pairs && vlan >= 1 && vlan <= 4094) {
         const XpVif::VifId* v = pairs->portVlanToVifMapColl().find(
             XpLib::PortAndVlanId(intf, static_cast<uint16_t>(vlan)));
         concerned = v && v->value() == vif && map.egressPortAclIdEn(intf).blocked();
      }
      if (concerned) {
         return "the interface was resolved under block-all while it was blocked, and "
                "unblocked without an index it keeps the blocking binding (a cold start "
                "reaches it only through the reconciliation of ports)";
      }
   }
   return "";
}

// A port-channel's VIF entries reach the chips of its members when they are published; the
// driver does not move them when a member changes chips, so a chip keeps the entries of a
// port-channel whose last member there left, and a chip a member joins later has none.
std::string lagSplitCause(Simulator& s, const xpChipDifference& d) {
   uint32_t vlan = 0;
   if ((d.table != "xpPortVlanIvifMgr" && d.table != "xpEgressBdEvifMgr") ||
       !field(d.key, "vlan", vlan) || vlan < 1 || vlan > 4094)
      return "";
   auto hwAcl = s.world().get<XpAcl::HwAclIdSm>("hwAclIdSm");
   auto chipSm = hwAcl ? hwAcl->chipHwAclIdSm(Orim::ChipId(d.device)) : nullptr;
   auto all = s.world().get<XpVif::PortVlanVifStatus>("portVlanVifStatus");
   if (!chipSm || !all) return "";
   const auto& onChip = chipSm->chipPortVlanVifStatus();
   auto memberHere = [&](const Plexo::IntfId& lag) {
      for (auto it = s.world().commonData->portToLagColl().begin(); it; ++it) {
         const auto dev = s.world().commonData->intfToDevId(it.key());
         if (it.value() == lag && !dev.isNull() && dev.value() == d.device) return true;
      }
      return false;
   };
   auto lagPairs = [&](const XpVif::PortVlanVifStatus& status, auto&& check) {
      for (auto it = status.portVlanToVifMapColl().begin(); it; ++it) {
         const Plexo::IntfId& intf = it.key().intfId();
         if (intf.isPortChannel() && it.key().vlanId() == vlan &&
             check(it.key(), intf, it.value()))
            return true;
      }
      return false;
   };
   auto same = [](const XpVif::PortVlanVifStatus* status, const XpLib::PortAndVlanId& pair,
                  const XpVif::VifId& vif) {
      const XpVif::VifId* v = status ? status->portVlanToVifMapColl().find(pair) : nullptr;
      return v && *v == vif;
   };
   // On the chip without a member there, or unlike the system's entry (changed or removed
   // while the chip had no member).
   const bool stale =
       onChip && lagPairs(*onChip, [&](const auto& pair, const auto& lag, const auto& vif) {
          return !memberHere(lag) || !same(all.ptr(), pair, vif);
       });
   const bool missing = lagPairs(*all, [&](const auto& pair, const auto& lag, const auto& vif) {
      return memberHere(lag) && !same(onChip.ptr(), pair, vif);
   });
   if (!stale && !missing) return "";
   return "a port-channel's VIF entries reached the chips of its members when they were "
          "published, and the driver does not move them when its members change chips";
}

// A member's egress entry for its port-channel's pair is written when the member joins and
// follows the member's moves, not the pair's own changes (the driver skips the port-channel
// itself): a cold start, which has the members before the pairs, writes none, and a pair's
// new VIF, or its removal, leaves the entries taken under the old one, even once the member
// has left. The driver holds such an entry for a port whose own pair is not that VIF.
std::string lagMemberEgressCause(Simulator& s, const xpChipDifference& d) {
   uint32_t vif = 0;
   uint32_t vlan = 0;
   if (d.table != "xpEgressBdEvifMgr" || !d.live || d.cold || !field(d.key, "vif", vif) ||
       !field(d.key, "vlan", vlan))
      return "";
   auto hwAcl = s.world().get<XpAcl::HwAclIdSm>("hwAclIdSm");
   auto chipSm = hwAcl ? hwAcl->chipHwAclIdSm(Orim::ChipId(d.device)) : nullptr;
   if (!chipSm) return "";
   const auto& onChip = chipSm->chipPortVlanVifStatus();
   for (auto it = chipSm->egressPortVlanToVifMapColl().begin(); it; ++it) {
      const XpLib::PortAndVlanId& pair = it.key();
      if (pair.vlanId() != vlan || it.value().value() != vif || pair.intfId().isPortChannel())
         continue;
      const XpVif::VifId* own = onChip ? onChip->portVlanToVifMapColl().find(pair) : nullptr;
      if (!own || own->value() != vif) {
         return "a member's egress entry for its port-channel's pair is written when the "
                "member joins, not when the pair changes, and a cold start has the members "
                "before the pairs";
      }
   }
   return "";
}

const VerifyCauseRegistration reg({staleBindingCause, nullptr});
const VerifyCauseRegistration regLagMember({lagMemberEgressCause, nullptr});
const VerifyCauseRegistration regBlockAll({blockAllCause, nullptr});
const VerifyCauseRegistration regLagSplit({lagSplitCause, nullptr});
const VerifyCauseRegistration regPort({portNumberCause, nullptr});

} // namespace

} // namespace Sim
