#pragma once

// The agent's side of the hardware ACL ID reactors, for tests: chips, ports with their chip
// port numbers, bindings, rule lists, VIFs, LAGs and blocks, and the chip tables read back.
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "platform/OrimDataFlow.h"
#include "platform/XpSystem.h"
#include "platform/XpVif.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/hwaclid/XpAclHwAclIdSm.h"

namespace XpAclTest {

inline xpPortConfigMgr* portModel() {
   return xpIfPl::instance()->getMgr<xpPortConfigMgr>(
       xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0));
}
inline xpPortVlanIvifMgr* ivifModel() {
   return xpIfPl::instance()->getMgr<xpPortVlanIvifMgr>(
       xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
}
inline xpEgressBdEvifMgr* evifModel() {
   return xpIfPl::instance()->getMgr<xpEgressBdEvifMgr>(
       xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0));
}

inline Plexo::IntfId eth(uint32_t n) {
   return Plexo::IntfId::ethernet(n);
}
inline Plexo::IntfId lagIntf(uint32_t n) {
   return Plexo::IntfId::portChannel(n);
}
inline Plexo::IntfId vlanIntf(uint16_t v) {
   return Plexo::IntfId::vlan(Bridging::VlanId(v));
}

// What a chip's three tables hold, by key: port number to {PAclId, aclEnBits} for entries
// that are not reset, (port, VLAN) to {routeAclId, routeAclEn}, (VIF, VLAN) to the ACL bits.
struct ChipTables {
   std::map<uint32_t, std::pair<int, int>> port;
   std::map<std::pair<int, int>, std::pair<int, int>> ivif;
   std::map<std::pair<int, int>, uint32_t> evif;
   bool operator==(const ChipTables&) const = default;
};

inline ChipTables readTables(uint8_t dev) {
   ChipTables t;
   for (uint32_t p = 0; p < 65536; ++p) {
      const xpPortConfigEntry* e = portModel()->entryAt(dev, p);
      if (e && !(*e == xpPortConfigEntry{})) t.port[p] = {e->PAclId, e->aclEnBits};
   }
   for (const auto& copy : ivifModel()->tables(dev)) {
      copy.forEachValid([&](uint32_t, const xpPortVlanIvifKey& k, const xpPortVlanIvifData& d) {
         t.ivif[{k.port, k.vlanId}] = {d.routeAclId, d.routeAclEn};
      });
      break;
   }
   for (const auto& copy : evifModel()->tables(dev)) {
      copy.forEachValid([&](uint32_t, const xpEgressBdEvifKey& k, const xpEgressBdEvifData& d) {
         t.evif[{k.vif, k.vlanId}] = d.acl;
      });
   }
   return t;
}

struct HwAclWorld {
   explicit HwAclWorld(int chips = 2, const xpDeviceProfile& profile = smallProfile()) {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      for (int c = 0; c < chips; ++c)
         xpDeviceMgr::instance()->addDevice(static_cast<uint8_t>(c), profile);
   }
   ~HwAclWorld() {
      sm = nullptr;
      xpLogMgr::instance()->setSink(stderr);
   }
   static xpDeviceProfile smallProfile() {
      xpDeviceProfile p;
      p.portVlanIvifEntries = 4096;
      p.egressBdEvifEntries = 4096;
      return p;
   }

   void start() {
      sm = XpAcl::hwAclIdSmFactory(dataFlow, portVlanVif, portVif, system, pd, xpcsd);
   }
   XpAcl::ChipHwAclIdSm* chipSm(uint32_t chip) const {
      return sm->chipHwAclIdSm(Orim::ChipId(chip)).ptr();
   }

   // A port on a chip, with its chip port number.
   void port(const Plexo::IntfId& intf, uint32_t chip, uint16_t number) {
      xpcsd->intfToDevIdIs(intf, Corvo::Central::DeviceId(chip));
      portVif->intfToChipPortIs(intf, XpVif::ChipPort(chip, XpVif::VifId(number)));
   }
   Norv::Ptr<Orim::ChipDataFlowConfig> cfg(uint32_t chip) {
      return dataFlow->chipDataFlowConfigIs(Orim::ChipId(chip));
   }
   // A rule list at `index` of table type `type` (1 PACL v4, 2 RACL v4, 3 PACL v6, 4 RACL
   // v6) in one direction.
   void ruleList(uint32_t chip, uint8_t index, uint8_t type, bool egress, bool on = true) {
      const Orim::ChipRuleListIdKey key(
          index, 0, type, egress ? Orim::AclDirection::out : Orim::AclDirection::in);
      if (on) {
         cfg(chip)->chipRuleListKeyToIdIs(key, Orim::ChipRuleListId(100 + index));
      } else {
         cfg(chip)->chipRuleListKeyToIdDel(key);
      }
   }
   // Every kind of rule list at `index`.
   void allRuleLists(uint32_t chip, uint8_t index) {
      for (uint8_t type = 1; type <= 4; ++type) {
         ruleList(chip, index, type, false);
         ruleList(chip, index, type, true);
      }
   }
   void vif(const Plexo::IntfId& intf, uint16_t vlan, uint16_t vif) {
      portVlanVif->portVlanToVifMapIs(XpLib::PortAndVlanId(intf, vlan), XpVif::VifId(vif));
   }
   void vifDel(const Plexo::IntfId& intf, uint16_t vlan) {
      portVlanVif->portVlanToVifMapDel(XpLib::PortAndVlanId(intf, vlan));
   }
   void block(const Plexo::IntfId& intf, bool on) {
      if (on) {
         pd->blockedIntfIs(intf, true);
      } else {
         pd->blockedIntfDel(intf);
      }
   }

   Norv::Ptr<Orim::DataFlowConfig> dataFlow = Orim::dataFlowConfigFactory("dataFlow");
   Norv::Ptr<XpVif::PortVlanVifStatus> portVlanVif = XpVif::portVlanVifStatusFactory("pv");
   Norv::Ptr<XpVif::PortVifStatus> portVif = XpVif::portVifStatusFactory("portVif");
   Norv::Ptr<XpSystem::SystemStatus> system = XpSystem::systemStatusFactory("system");
   Norv::Ptr<Orim::PDConfig> pd = Orim::pDConfigFactory("pd");
   Norv::Ptr<XpAcl::XpAclCommonSmData> xpcsd = XpAcl::xpAclCommonSmDataFactory("xpcsd");
   Norv::Ptr<XpAcl::HwAclIdSm> sm;
};

} // namespace XpAclTest
