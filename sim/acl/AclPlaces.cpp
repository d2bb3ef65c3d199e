#include "sim/acl/AclPlaces.h"

#include <map>
#include <set>

#include "platform/XpVif.h"

namespace Sim::Acl {

namespace {

struct Status {
   Norv::Ptr<XpVif::PortVifStatus> ports;
   Norv::Ptr<XpVif::PortVlanVifStatus> vifs;
};

Status statusOf(Simulator& s) {
   return {s.world().get<XpVif::PortVifStatus>("portVifStatus"),
           s.world().get<XpVif::PortVlanVifStatus>("portVlanVifStatus")};
}

std::optional<Plexo::IntfId> intfAt(const Status& st, uint32_t chip, uint32_t port) {
   if (!st.ports) return std::nullopt;
   for (auto it = st.ports->intfToChipPortColl().begin(); it; ++it) {
      if (it.value().deviceId() == chip && it.value().portVif().value() == port &&
          !it.key().isPortChannel())
         return it.key();
   }
   return std::nullopt;
}

const XpVif::VifId* vifOf(const Status& st, const Plexo::IntfId& intf, uint16_t vlan) {
   if (!st.vifs) return nullptr;
   return st.vifs->portVlanToVifMapColl().find(XpLib::PortAndVlanId(intf, vlan));
}

} // namespace

PacketPlace packetPlaceOf(Simulator& s) {
   const Status st = statusOf(s);
   PacketPlace place;
   place.intfOf = [st](uint32_t chip, uint32_t port) -> std::optional<std::string> {
      const auto intf = intfAt(st, chip, port);
      return intf ? std::optional(intf->text()) : std::nullopt;
   };
   place.onVlan = [st](uint32_t chip, uint32_t port, uint16_t vlan) {
      const auto intf = intfAt(st, chip, port);
      return intf && vifOf(st, *intf, vlan);
   };
   return place;
}

std::vector<ProbePlace> probePlacesOf(Simulator& s) {
   const Status st = statusOf(s);
   std::vector<ProbePlace> out;
   if (!st.ports) return out;
   std::set<uint16_t> vlans;
   if (st.vifs) {
      for (auto it = st.vifs->portVlanToVifMapColl().begin(); it; ++it)
         vlans.insert(it.key().vlanId());
   }
   // In the order of the interfaces' names, so that a seed gives the same probes every run.
   std::map<std::string, std::pair<Plexo::IntfId, XpVif::ChipPort>> ports;
   for (auto it = st.ports->intfToChipPortColl().begin(); it; ++it) {
      if (!it.key().isPortChannel())
         ports.emplace(it.key().text(), std::pair(it.key(), it.value()));
   }
   for (const auto& [name, entry] : ports) {
      const auto& [intf, cp] = entry;
      for (uint16_t vlan : vlans) {
         xpAclPacket at;
         at.devId = static_cast<uint8_t>(cp.deviceId());
         at.port = cp.portVif().value();
         at.vlan = vlan;
         const XpVif::VifId* vif = vifOf(st, intf, vlan);
         out.push_back({at, name, vif != nullptr});
         if (!vif) continue;
         at.egress = true;
         at.egressVif = vif->value();
         out.push_back({at, name, true});
      }
   }
   return out;
}

} // namespace Sim::Acl
