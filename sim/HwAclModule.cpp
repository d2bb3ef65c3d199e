// Hardware ACL ids in the simulator: chip port numbers, interface and VLAN bindings to hardware
// ACL indexes, the rule-list keys that enable an index, the global ACL control, blocked
// interfaces, port-VLAN VIFs; and the three chip tables they are programmed into.
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/OrimBinding.h"
#include "platform/XpVif.h"
#include "sim/ConfigDump.h"
#include "sim/Sim.h"
#include "sim/SimArgs.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xpacl/hwaclid/XpAclHwAclIdSm.h"

namespace Sim {

namespace {

using namespace XpAcl;

constexpr uint64_t kMaxChip = 63;

// The chip reactor of a device that leaves the chip model would write to tables that are gone;
// the agent switches its notifications off until the device is back, and then has it resolve
// and write everything again into the device's fresh tables.
class DeviceWatch : public Norv::Reactor {
public:
   NORV_ENTITY("Sim::HwAclDeviceWatch")
   NORV_FORWARDING_NOTIFIEE(NorvDevices, XpXdk::XpDeviceIdColl, DeviceWatch, DeviceId,
                            XpXdk::XpDeviceId, handleDevice)

   DeviceWatch(Norv::Ptr<const XpXdk::XpDeviceIdColl> devices, Norv::Ptr<HwAclIdSm> sm)
       : devices_(devices), sm_(std::move(sm)), notifiee_(this, std::move(devices)) {}
   void handleDevice(const XpXdk::XpDeviceId& dev) {
      auto chip = sm_->chipHwAclIdSm(XpXdk::chipIdOf(dev));
      if (!chip) return;
      const bool present = devices_->deviceIdColl().contains(dev);
      if (present == chip->hasNotificationActive()) return;
      chip->hasNotificationActiveIs(present);
      if (!present) return;
      chip->doApplyConfig();
      chip->handlePortToLag();
      chip->handlePortVlan();
      chip->handleIngressPortAclIdEn();
      chip->handleEgressPortAclIdEn();
      chip->handleIngressRouteAclIdEn();
      chip->handleEgressRouteAclIdEn();
   }
   void handleDevice() {}

private:
   Norv::Ptr<const XpXdk::XpDeviceIdColl> devices_;
   Norv::Ptr<HwAclIdSm> sm_;
   NorvDevices notifiee_;
};

Norv::Ptr<HwAclIdSm> hwAclIdSm(Simulator& s) {
   return s.world().get<HwAclIdSm>("hwAclIdSm");
}
Norv::Ptr<Orim::DataFlowConfig> dataFlow(Simulator& s) {
   return s.world().get<Orim::DataFlowConfig>("dataFlowConfig");
}
// The chip's data-flow configuration, about to change: the open batch learns the chip changed,
// so that a device change after it in the same batch is refused rather than delivered first.
Norv::Ptr<Orim::ChipDataFlowConfig> changingChip(Simulator& s, const Orim::ChipId& chip) {
   s.world().batch.touch(SimBatch::chipKey(chip.value()));
   return dataFlow(s)->chipDataFlowConfigIs(chip);
}
Norv::Ptr<XpVif::PortVlanVifStatus> portVlanVif(Simulator& s) {
   return s.world().get<XpVif::PortVlanVifStatus>("portVlanVifStatus");
}
Norv::Ptr<XpVif::PortVifStatus> portVif(Simulator& s) {
   return s.world().get<XpVif::PortVifStatus>("portVifStatus");
}
Norv::Ptr<Orim::PDConfig> pdConfig(Simulator& s) {
   return s.world().get<Orim::PDConfig>("pDConfig");
}

// A hardware ACL index: one byte, and 0 means none, so it cannot be bound.
uint8_t indexArg(const Args& a, size_t i) {
   const auto v = static_cast<uint8_t>(a.number(i, "hardware ACL index", 255));
   if (v == 0) throw Error("bad hardware ACL index '0': indexes are 1 to 255");
   return v;
}

bool hasMembers(Simulator& s, const Plexo::IntfId& lag) {
   for (auto it = s.world().commonData->portToLagColl().begin(); it; ++it) {
      if (it.value() == lag) return true;
   }
   return false;
}

void hwaclPort(Simulator& s, const Args& a) {
   const auto intf = intfArg(a, 0);
   const auto number = static_cast<uint16_t>(a.number(1, "chip port number", 65534));
   a.atMost(2);
   const auto dev = s.world().commonData->intfToDevId(intf);
   if (dev.isNull())
      throw Error("interface " + intf.text() + " is on no device (use 'intf add')");
   portVif(s)->intfToChipPortIs(intf, XpVif::ChipPort(dev.value(), XpVif::VifId(number)));
}

void hwaclBind(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   const auto intf = intfArg(a, 1);
   const auto index = indexArg(a, 2);
   a.atMost(3);
   changingChip(s, chip)->intfToHwAclIndexIs(intf, index);
}

void hwaclUnbind(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   const auto intf = intfArg(a, 1);
   a.atMost(2);
   changingChip(s, chip)->intfToHwAclIndexDel(intf);
}

void hwaclVlanBind(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   const Bridging::VlanId vlan(vlanArg(a, 1));
   const auto index = indexArg(a, 2);
   a.atMost(3);
   changingChip(s, chip)->vlanToHwAclIndexIs(vlan, index);
}

void hwaclVlanUnbind(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   const Bridging::VlanId vlan(vlanArg(a, 1));
   a.atMost(2);
   changingChip(s, chip)->vlanToHwAclIndexDel(vlan);
}

void hwaclKey(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   const auto index = indexArg(a, 1);
   const std::string& dir = a.word(2, "direction");
   if (dir != "in" && dir != "out")
      throw Error("bad direction '" + dir + "': expected in or out");
   const auto type = static_cast<uint8_t>(a.number(3, "table type", 4));
   if (type == 0) throw Error("bad table type '0': 1 PACL v4, 2 RACL v4, 3 PACL v6, 4 RACL v6");
   const bool on = a.flag(4, "key state");
   a.atMost(5);
   const Orim::ChipRuleListIdKey key(
       index, 0, type, dir == "in" ? Orim::AclDirection::in : Orim::AclDirection::out);
   auto cfg = changingChip(s, chip);
   if (on) {
      cfg->chipRuleListKeyToIdIs(key, Orim::ChipRuleListId(index));
   } else {
      cfg->chipRuleListKeyToIdDel(key);
   }
}

void hwaclControl(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   const std::string& w = a.word(1, "global ACL control");
   a.atMost(2);
   Orim::GlobalAclControl v;
   if (w == "normal") {
      v = Orim::GlobalAclControl::globalAclNormal;
   } else if (w == "block-all") {
      v = Orim::GlobalAclControl::globalAclBlockAll;
   } else if (w == "bypass-all") {
      v = Orim::GlobalAclControl::globalAclBypassAll;
   } else {
      throw Error("bad global ACL control '" + w +
                  "': expected normal, block-all or bypass-all");
   }
   changingChip(s, chip)->globalAclControlIs(v);
}

void hwaclBlock(Simulator& s, const Args& a) {
   const auto intf = intfArg(a, 0);
   const bool on = a.flag(1, "block state");
   a.atMost(2);
   if (on) {
      pdConfig(s)->blockedIntfIs(intf, true);
   } else {
      pdConfig(s)->blockedIntfDel(intf);
   }
}

void hwaclVif(Simulator& s, const Args& a, bool add) {
   const auto intf = intfArg(a, 0);
   const uint16_t vlan = vlanArg(a, 1);
   const auto vif = add ? static_cast<uint16_t>(a.number(2, "VIF", 65535)) : 0;
   a.atMost(add ? 3 : 2);
   if (intf.isVlanIntf()) throw Error("a VIF belongs to a port or a port-channel, not a VLAN");
   // A port-channel's entry is split to the chips of its members when it is delivered, so its
   // members must be known then: not after a batch that may still take them away.
   if (intf.isPortChannel() && s.world().batch.isOpen()) {
      throw Error("a port-channel's VIF cannot change inside a batch");
   }
   if (intf.isPortChannel() && !hasMembers(s, intf)) {
      throw Error(intf.text() + " has no member to carry its VIF (use 'lag add')");
   }
   const XpLib::PortAndVlanId pair(intf, vlan);
   if (add) {
      portVlanVif(s)->portVlanToVifMapIs(pair, XpVif::VifId(vif));
   } else {
      portVlanVif(s)->portVlanToVifMapDel(pair);
   }
}

Norv::Ptr<ChipHwAclIdSm> chipSm(Simulator& s, const Orim::ChipId& chip) {
   auto sm = hwAclIdSm(s)->chipHwAclIdSm(chip);
   if (!sm) throw Error("chip " + chip.text() + " has no hardware ACL configuration");
   return sm;
}

std::string en(const AclIdEn& b) {
   std::ostringstream o;
   o << "aclId " << int(b.aclId()) << " v4 " << (b.v4En() ? "on" : "off") << " v6 "
     << (b.v6En() ? "on" : "off") << (b.blocked() ? " blocked" : "");
   return o.str();
}

void showHwacl(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto sm = chipSm(s, chip);
   const auto& m = *sm->chipHwAclIdMap();
   std::map<std::string, std::string> lines;
   for (auto it = m.ingressPortAclIdEnColl().begin(); it; ++it)
      lines["in  port " + it.key().text()] = en(it.value());
   for (auto it = m.egressPortAclIdEnColl().begin(); it; ++it)
      lines["out port " + it.key().text()] = en(it.value());
   std::map<int, std::string> routes;
   auto& o = s.out();
   o << "hardware ACL ids of chip " << chip.text() << ", global ACL control "
     << norvEnumName(sm->chipDataFlowConfig()->globalAclControl()) << "\n";
   for (const auto& [k, v] : lines)
      o << "  " << k << ": " << v << "\n";
   std::map<int, std::string> vlans;
   for (auto it = m.ingressRouteAclIdEnColl().begin(); it; ++it)
      vlans[it.key().value()] += "  in  vlan " + it.key().text() + ": " + en(it.value()) + "\n";
   for (auto it = m.egressRouteAclIdEnColl().begin(); it; ++it)
      vlans[it.key().value() + 10000] +=
          "  out vlan " + it.key().text() + ": " + en(it.value()) + "\n";
   for (const auto& [k, v] : vlans)
      o << v;
   std::map<int, std::string> infos;
   for (auto it = sm->hwAclIndexInfoColl().begin(); it; ++it) {
      const auto& info = *it.value();
      std::map<Plexo::IntfId, bool> intfs;
      for (auto u = info.intfIdColl().begin(); u; ++u)
         intfs[u.key()] = true;
      std::map<int, bool> vl;
      for (auto u = info.vlanIdColl().begin(); u; ++u)
         vl[u.key().value()] = true;
      std::string line = "  index " + it.key().text() + ":";
      for (const auto& [i, b] : intfs)
         line += " " + i.text();
      for (const auto& [v, b] : vl)
         line += " vlan " + std::to_string(v);
      if (const auto& f = info.allAclVerEn()) {
         const std::pair<const char*, bool> flags[] = {
             {"inPaclV4", f->ingressPaclV4En()}, {"inPaclV6", f->ingressPaclV6En()},
             {"inRaclV4", f->ingressRaclV4En()}, {"inRaclV6", f->ingressRaclV6En()},
             {"outPaclV4", f->egressPaclV4En()}, {"outPaclV6", f->egressPaclV6En()},
             {"outRaclV4", f->egressRaclV4En()}, {"outRaclV6", f->egressRaclV6En()}};
         line += " |";
         for (const auto& [name, on] : flags) {
            if (on) line += std::string(" ") + name;
         }
      }
      infos[it.key().value()] = line;
   }
   for (const auto& [k, v] : infos)
      o << v << "\n";
   std::map<XpLib::PortAndVlanId, uint16_t> vifs;
   if (const auto& status = sm->chipPortVlanVifStatus()) {
      for (auto it = status->portVlanToVifMapColl().begin(); it; ++it)
         vifs[it.key()] = it.value().value();
   }
   for (const auto& [pair, vif] : vifs)
      o << "  vif of " << pair.intfId().text() << " on vlan " << pair.vlanId() << ": " << vif
        << "\n";
}

const char* onOff(bool b) {
   return b ? "on" : "off";
}

void showPortAcl(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto* mgr = xpIfPl::instance()->getMgr<xpPortConfigMgr>(
       xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0));
   auto& o = s.out();
   o << "port ACL entries of chip " << chip.text() << "\n";
   uint32_t n = 0;
   for (uint32_t port = 0; port < 65536; ++port) {
      const auto* e = mgr->entryAt(static_cast<uint8_t>(chip.value()), port);
      if (!e || *e == xpPortConfigEntry{}) continue;
      ++n;
      o << "  port " << port << " PAclId " << int(e->PAclId) << " v4 "
        << onOff(e->aclEnBits & 1) << " v6 " << onOff(e->aclEnBits & 2) << "\n";
   }
   o << "  " << n << " set\n";
}

void showIvif(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto* mgr = xpIfPl::instance()->getMgr<xpPortVlanIvifMgr>(
       xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
   std::map<std::pair<int, int>, std::string> rows;
   const auto& tables = mgr->tables(static_cast<uint8_t>(chip.value()));
   if (!tables.empty()) {
      tables[0].forEachValid([&](uint32_t index, const auto& k, const auto& d) {
         std::ostringstream o;
         o << "  port " << k.port << " vlan " << k.vlanId << " routeAclId " << int(d.routeAclId)
           << " v4 " << onOff(d.routeAclEn & 1) << " v6 " << onOff(d.routeAclEn & 2)
           << " (index " << index << ")\n";
         rows[{k.port, k.vlanId}] = o.str();
      });
   }
   s.out() << "port-VLAN ingress VIF entries of chip " << chip.text() << ": " << rows.size()
           << "\n";
   for (const auto& [k, v] : rows)
      s.out() << v;
}

void showEvif(Simulator& s, const Args& a) {
   const auto chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto* mgr = xpIfPl::instance()->getMgr<xpEgressBdEvifMgr>(
       xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0));
   std::map<std::pair<int, int>, std::string> rows;
   const auto& tables = mgr->tables(static_cast<uint8_t>(chip.value()));
   if (!tables.empty()) {
      tables[0].forEachValid([&](uint32_t index, const auto& k, const auto& d) {
         std::ostringstream o;
         o << "  vif " << k.vif << " vlan " << k.vlanId << " paclId " << int(d.paclId())
           << " v4 " << onOff(d.paclIdEnV4()) << " v6 " << onOff(d.paclIdEnV6()) << " raclId "
           << int(d.raclId()) << " v4 " << onOff(d.raclIdEnV4()) << " v6 "
           << onOff(d.raclIdEnV6()) << " (index " << index << ")\n";
         rows[{k.vif, k.vlanId}] = o.str();
      });
   }
   s.out() << "egress BD-EVIF entries of chip " << chip.text() << ": " << rows.size() << "\n";
   for (const auto& [k, v] : rows)
      s.out() << v;
}

void start(Simulator& s) {
   auto& w = s.world();
   auto flow = w.get<Orim::DataFlowConfig>("dataFlowConfig");
   if (!flow) flow = w.hold("dataFlowConfig", Orim::dataFlowConfigFactory("dataFlowConfig"));
   auto pv = w.hold("portVlanVifStatus", XpVif::portVlanVifStatusFactory("portVlanVifStatus"));
   auto p = w.hold("portVifStatus", XpVif::portVifStatusFactory("portVifStatus"));
   auto pd = w.hold("pDConfig", Orim::pDConfigFactory("pDConfig"));
   auto sm =
       w.hold("hwAclIdSm", hwAclIdSmFactory(flow, pv, p, w.systemStatus, pd, w.commonData));
   w.hold("hwAclDeviceWatch", Norv::Ptr<DeviceWatch>(new DeviceWatch(w.devices, sm)));

   s.addCommand({"hwacl", "port", "INTF NUMBER",
                 "the chip port number (port VIF) of an interface", hwaclPort});
   s.addCommand({"hwacl", "bind", "CHIP INTF INDEX",
                 "bind an interface's port ACLs to a hardware ACL index", hwaclBind});
   s.addCommand({"hwacl", "unbind", "CHIP INTF", "drop an interface's binding", hwaclUnbind});
   s.addCommand({"hwacl", "vlan-bind", "CHIP VLAN INDEX",
                 "bind a VLAN's routed ACLs to a hardware ACL index", hwaclVlanBind});
   s.addCommand(
       {"hwacl", "vlan-unbind", "CHIP VLAN", "drop a VLAN's binding", hwaclVlanUnbind});
   s.addCommand({"hwacl", "key", "CHIP INDEX in|out TYPE on|off",
                 "a rule list of the index (TYPE 1 PACL v4, 2 RACL v4, 3 PACL v6, 4 RACL v6)",
                 hwaclKey});
   s.addCommand({"hwacl", "control", "CHIP normal|block-all|bypass-all",
                 "the chip's global ACL control", hwaclControl});
   s.addCommand({"hwacl", "block", "INTF on|off",
                 "block a port, port-channel or VLAN interface from ACL lookup", hwaclBlock});
   s.addCommand({"hwacl", "vif", "INTF VLAN VIF", "the VIF of an interface on a VLAN",
                 [](Simulator& s, const Args& a) { hwaclVif(s, a, true); }});
   s.addCommand({"hwacl", "vif-remove", "INTF VLAN", "the interface leaves the VLAN",
                 [](Simulator& s, const Args& a) { hwaclVif(s, a, false); }});
   s.addCommand({"show", "hwacl", "CHIP",
                 "the chip's resolved bindings and hardware ACL indexes", showHwacl});
   s.addCommand(
       {"show", "port-acl", "CHIP", "the ACL fields of the chip's port table", showPortAcl});
   s.addCommand({"show", "ivif", "CHIP", "the chip's port-VLAN ingress VIF table", showIvif});
   s.addCommand({"show", "evif", "CHIP", "the chip's egress BD-EVIF table", showEvif});
}

const char* const scenario =
    R"(# Hardware ACL ids: bindings of ports and VLANs resolved per chip into the port, port-VLAN
# ingress VIF and egress BD-EVIF tables.
echo == hwacl: port and routed ACL bindings, blocks, a port moving into a LAG and out
intf add Ethernet4 0
intf add Ethernet5 0
intf add Ethernet6 1
hwacl port Ethernet4 4
hwacl port Ethernet5 5
hwacl port Ethernet6 6
hwacl vif Ethernet4 10 504
hwacl vif Ethernet5 10 505
echo -- index 5 has ingress and egress IPv4 port ACLs, index 6 routed ACLs in both versions
hwacl key 0 5 in 1 on
hwacl key 0 5 out 1 on
hwacl key 0 6 in 2 on
hwacl key 0 6 in 4 on
hwacl key 0 6 out 2 on
hwacl bind 0 Ethernet4 5
hwacl vlan-bind 0 10 6
show hwacl 0
show port-acl 0
show ivif 0
show evif 0
echo -- blocked, Ethernet4 keeps its lookups with ACL id 0: all its traffic is denied
hwacl block Ethernet4 on
show port-acl 0
show evif 0
hwacl block Ethernet4 off
show port-acl 0
echo -- Port-Channel20 spans both chips; its VIF on VLAN 10 reaches both
hwacl control 1 normal
lag add Ethernet5 Port-Channel20
lag add Ethernet6 Port-Channel20
hwacl vif Port-Channel20 10 520
show hwacl 1
echo -- a member that joined before the port-channel had a VIF on the chip is not rewritten
echo -- Ethernet4 joins it and leaves through its VIF; then leaves it again
lag add Ethernet4 Port-Channel20
show evif 0
lag remove Ethernet4
show evif 0
)";

// Port numbers, bindings, global controls, blocks and VIFs, each in key order.
void dump(Simulator& s, ConfigDump& d) {
   auto& w = s.world();
   std::map<Plexo::IntfId, XpVif::ChipPort> ports;
   for (auto it = portVif(s)->intfToChipPortColl().begin(); it; ++it)
      ports[it.key()] = it.value();
   for (const auto& [intf, port] : ports) {
      const std::string line =
          "hwacl port " + intf.text() + " " + std::to_string(port.portVif().value());
      if (!w.commonData->intfToDevId(intf).isNull()) {
         d.line(line);
         continue;
      }
      // The interface left its device after it got its number: it comes and goes again.
      d.chipNeeded(port.deviceId());
      d.line("intf add " + intf.text() + " " + std::to_string(port.deviceId()));
      d.line(line);
      d.line("intf remove " + intf.text());
   }
   auto flow = dataFlow(s);
   std::map<uint32_t, Norv::Ptr<Orim::ChipDataFlowConfig>> chips;
   for (auto c = flow->chipDataFlowConfigColl().begin(); c; ++c)
      chips[c.key().value()] = c.value();
   for (const auto& [chip, c] : chips) {
      std::map<Plexo::IntfId, int> intfs;
      for (auto it = c->intfToHwAclIndexColl().begin(); it; ++it)
         intfs[it.key()] = it.value();
      for (const auto& [intf, index] : intfs) {
         if (d.claimed(ClaimKey::intfBinding(chip, intf.text()))) continue;
         d.chipNeeded(chip);
         d.line("hwacl bind " + std::to_string(chip) + " " + intf.text() + " " +
                std::to_string(index));
      }
      std::map<int, int> vlans;
      for (auto it = c->vlanToHwAclIndexColl().begin(); it; ++it)
         vlans[it.key().value()] = it.value();
      for (const auto& [vlan, index] : vlans) {
         if (d.claimed(ClaimKey::vlanBinding(chip, vlan))) continue;
         d.chipNeeded(chip);
         d.line("hwacl vlan-bind " + std::to_string(chip) + " " + std::to_string(vlan) + " " +
                std::to_string(index));
      }
      // Written for every chip with a configuration: a configuration with nothing else in it
      // still has the driver resolve the chip's blocks.
      const auto control = c->globalAclControl();
      d.chipNeeded(chip);
      d.line("hwacl control " + std::to_string(chip) +
             (control == Orim::GlobalAclControl::globalAclNormal     ? " normal"
              : control == Orim::GlobalAclControl::globalAclBlockAll ? " block-all"
                                                                     : " bypass-all"));
   }
   std::map<Plexo::IntfId, bool> blocked;
   for (auto it = pdConfig(s)->blockedIntfColl().begin(); it; ++it)
      blocked[it.key()] = it.value();
   for (const auto& [intf, on] : blocked) {
      if (on) d.line("hwacl block " + intf.text() + " on");
   }
   std::map<XpLib::PortAndVlanId, uint16_t> vifs;
   for (auto it = portVlanVif(s)->portVlanToVifMapColl().begin(); it; ++it)
      vifs[it.key()] = it.value().value();
   for (const auto& [pair, vif] : vifs) {
      // A port-channel without members carries its VIF to no chip.
      if (pair.intfId().isPortChannel() && !hasMembers(s, pair.intfId())) continue;
      d.line("hwacl vif " + pair.intfId().text() + " " + std::to_string(pair.vlanId()) + " " +
             std::to_string(vif));
   }
}

const ModuleRegistration reg({"hwacl", 70, start, scenario});
const ConfigDumperRegistration dumper({"hwacl", 70, nullptr, dump});

} // namespace

} // namespace Sim
