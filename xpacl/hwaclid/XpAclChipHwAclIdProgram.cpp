// The programming half of ChipHwAclIdSm: the resolved bindings written into the port
// configuration, port-VLAN ingress VIF and egress BD-EVIF tables, egress entries shared by the
// port-VLAN pairs that resolve to them, and the reaction to LAG and VIF changes.
#include <algorithm>
#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xpacl/hwaclid/XpAclChipHwAclIdSm.h"
#include "xpacl/sdk/XpXdkApiMacros.h"

namespace XpAcl {

// The hardware ACL ID reactors share one trace handle, defined with the top reactor.
extern ::Norv::TraceHandle norvTraceHandle_;

namespace {

constexpr uint16_t kNoChipPort = 65535;

uint8_t enBits(const AclIdEn& b) {
   return static_cast<uint8_t>(b.v4En() + 2 * b.v6En());
}

uint8_t programmedId(const AclIdEn& b) {
   return b.blocked() ? 0 : b.aclId();
}

// Records where the chip holds a key's entry.
void remember(Norv::FlatHashMap<uint32_t, uint32_t>& indexOf, uint32_t key, uint32_t index) {
   *indexOf.insert(key, index).first = index;
}

uint32_t ivifKey(const xpPortVlanIvifEntry& e) {
   return uint32_t{e.key.port} << 16 | e.key.vlanId;
}

uint32_t evifKey(const xpEgressBdEvifEntry& e) {
   return uint32_t{e.key.vif} << 16 | e.key.vlanId;
}

} // namespace

uint16_t ChipHwAclIdSm::chipPort(const Plexo::IntfId& intf) const {
   const XpVif::ChipPort* port =
       portVifStatus_ ? portVifStatus_->intfToChipPortColl().find(intf) : nullptr;
   return port ? port->portVif().value() : kNoChipPort;
}

void ChipHwAclIdSm::indexPortVlan(const XpLib::PortAndVlanId& portVlan, bool present) {
   const Plexo::IntfId intf = portVlan.intfId();
   const uint16_t vlan = portVlan.vlanId();
   if (present) {
      vlansOfIntf_[intf].insert(vlan);
      intfsOfVlan_[vlan].insert(intf);
      return;
   }
   if (auto it = vlansOfIntf_.find(intf); it != vlansOfIntf_.end()) {
      it->second.erase(vlan);
      if (it->second.empty()) vlansOfIntf_.erase(it);
   }
   if (auto it = intfsOfVlan_.find(vlan); it != intfsOfVlan_.end()) {
      it->second.erase(intf);
      if (it->second.empty()) intfsOfVlan_.erase(it);
   }
}

std::vector<uint16_t> ChipHwAclIdSm::egressVlansOf(const Plexo::IntfId& intf) const {
   std::vector<uint16_t> vlans;
   auto add = [&](const Plexo::IntfId& i) {
      if (auto it = vlansOfIntf_.find(i); it != vlansOfIntf_.end()) {
         it->second.forEach([&](uint16_t vlan) { vlans.push_back(vlan); });
      }
   };
   add(intf);
   // A VLAN the port is on itself and through its port-channel is programmed once.
   if (const Plexo::IntfId* lag = portToLagCacheColl().find(intf)) {
      add(*lag);
      std::sort(vlans.begin(), vlans.end());
      vlans.erase(std::unique(vlans.begin(), vlans.end()), vlans.end());
   }
   return vlans;
}

std::set<Plexo::IntfId> ChipHwAclIdSm::egressPortsOf(uint16_t vlan) const {
   std::set<Plexo::IntfId> ports;
   auto it = intfsOfVlan_.find(vlan);
   if (it == intfsOfVlan_.end()) return ports;
   for (const auto& intf : it->second) {
      ports.insert(intf);
      if (auto m = lagMembers_.find(intf); m != lagMembers_.end()) {
         ports.insert(m->second.begin(), m->second.end());
      }
   }
   return ports;
}

void ChipHwAclIdSm::handlePortToLag(const Plexo::IntfId& port) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handlePortToLag port {}", port);
   const Plexo::IntfId lag = xpcsd_->portToLag(port);
   const Plexo::IntfId oldLag = portToLagCache(port);
   if (lag != oldLag && !lag.isEmpty()) {
      portToLagCacheIs(port, lag);
      lagMembers_[lag].insert(port);
   }
   if (!oldLag.isEmpty() && oldLag != lag) {
      NORV_TRACE(8, "old member deleted, reprogram lag {} port {}", oldLag, port);
      if (auto it = lagMembers_.find(oldLag); it != lagMembers_.end()) {
         it->second.erase(port);
         if (it->second.empty()) lagMembers_.erase(it);
      }
   }
   // The port's own pairs and those of the port-channels it leaves and joins.
   std::set<uint16_t> vlans;
   for (const auto& intf : {port, oldLag, lag}) {
      if (auto it = vlansOfIntf_.find(intf); !intf.isEmpty() && it != vlansOfIntf_.end()) {
         it->second.forEach([&](uint16_t vlan) { vlans.insert(vlan); });
      }
   }
   for (uint16_t vlan : vlans) {
      Bridging::VlanId checked(vlan);
      programEgressBdEvif(checked.value(), port);
   }
   if (lag.isEmpty()) portToLagCacheDel(port);
}

void ChipHwAclIdSm::handlePortToLag() {
   std::vector<Plexo::IntfId> ports;
   for (auto it = xpcsd_->portToLagColl().begin(); it; ++it)
      ports.push_back(it.key());
   for (auto it = portToLagCacheColl().begin(); it; ++it) {
      if (!xpcsd_->portToLagColl().contains(it.key())) ports.push_back(it.key());
   }
   for (const auto& port : ports)
      handlePortToLag(port);
}

void ChipHwAclIdSm::handlePortVlan(const XpLib::PortAndVlanId& portVlan) {
   if (!initialized() || !chipPortVlanVifStatus_) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handlePortVlan portVlan {}", portVlan);
   indexPortVlan(portVlan, chipPortVlanVifStatus_->portVlanToVifMapColl().contains(portVlan));
   programIngressRAcl(portVlan.vlanId(), portVlan.intfId());
   programEgressBdEvif(portVlan.vlanId(), portVlan.intfId());
}

void ChipHwAclIdSm::handlePortVlan() {
   if (!chipPortVlanVifStatus_) return;
   std::vector<XpLib::PortAndVlanId> pairs;
   for (auto it = chipPortVlanVifStatus_->portVlanToVifMapColl().begin(); it; ++it)
      pairs.push_back(it.key());
   // Pairs programmed from an input that has been replaced since.
   for (const auto& [intf, vlans] : vlansOfIntf_) {
      vlans.forEach([&](uint16_t vlan) {
         const XpLib::PortAndVlanId pair(intf, vlan);
         if (!chipPortVlanVifStatus_->portVlanToVifMapColl().contains(pair)) {
            pairs.push_back(pair);
         }
      });
   }
   for (const auto& pair : pairs)
      handlePortVlan(pair);
}

void ChipHwAclIdSm::handleIngressPortAclIdEn(const Plexo::IntfId& intf) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleIngressPortAclIdEn intf {}", intf);
   programIngressPAcl(intf);
}

void ChipHwAclIdSm::handleIngressPortAclIdEn() {
   std::vector<Plexo::IntfId> intfs;
   for (auto it = chipHwAclIdMap_->ingressPortAclIdEnColl().begin(); it; ++it)
      intfs.push_back(it.key());
   for (const auto& intf : intfs)
      handleIngressPortAclIdEn(intf);
}

void ChipHwAclIdSm::handleIngressRouteAclIdEn(const Bridging::VlanId& vlan) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleIngressRouteAclIdEn vlan {}", vlan);
   auto it = intfsOfVlan_.find(vlan.value());
   if (it == intfsOfVlan_.end()) return;
   const std::vector<Plexo::IntfId> ports(it->second.begin(), it->second.end());
   for (const auto& port : ports)
      programIngressRAcl(vlan.value(), port);
}

void ChipHwAclIdSm::handleIngressRouteAclIdEn() {
   std::vector<Bridging::VlanId> vlans;
   for (auto it = chipHwAclIdMap_->ingressRouteAclIdEnColl().begin(); it; ++it)
      vlans.push_back(it.key());
   for (const auto& vlan : vlans)
      handleIngressRouteAclIdEn(vlan);
}

void ChipHwAclIdSm::handleEgressPortAclIdEn(const Plexo::IntfId& intf) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleEgressPortAclIdEn intf {}", intf);
   for (uint16_t vlan : egressVlansOf(intf))
      programEgressBdEvif(vlan, intf);
}

void ChipHwAclIdSm::handleEgressPortAclIdEn() {
   std::vector<Plexo::IntfId> intfs;
   for (auto it = chipHwAclIdMap_->egressPortAclIdEnColl().begin(); it; ++it)
      intfs.push_back(it.key());
   for (const auto& intf : intfs)
      handleEgressPortAclIdEn(intf);
}

void ChipHwAclIdSm::handleEgressRouteAclIdEn(const Bridging::VlanId& vlan) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleEgressRouteAclIdEn vlan {}", vlan);
   for (const auto& port : egressPortsOf(vlan.value()))
      programEgressBdEvif(vlan.value(), port);
}

void ChipHwAclIdSm::handleEgressRouteAclIdEn() {
   std::vector<Bridging::VlanId> vlans;
   for (auto it = chipHwAclIdMap_->egressRouteAclIdEnColl().begin(); it; ++it)
      vlans.push_back(it.key());
   for (const auto& vlan : vlans)
      handleEgressRouteAclIdEn(vlan);
}

// Where the chip holds the entry of `entry`'s key, and what it holds there. The index written
// last is tried first: reading it back costs less than a hashed lookup, and the read proves it
// (an entry moved by a rehash, or a table emptied under the reactor, is looked up again).
bool ChipHwAclIdSm::findIvif(const xpPortVlanIvifEntry& entry, uint32_t& index,
                             xpPortVlanIvifEntry& held) {
   const uint32_t key = ivifKey(entry);
   if (const uint32_t* at = ivifIndex_.find(key)) {
      if (XP_SDK_LOOKUP(portVlanIvifMgr()->readEntry(chipId().value(), 0, *at, &held)) ==
              XP_NO_ERR &&
          ivifKey(held) == key) {
         index = *at;
         return true;
      }
      ivifIndex_.erase(key);
   }
   if (XP_SDK_LOOKUP(portVlanIvifMgr()->lookup(chipId().value(), &entry, index, 0)) ==
       XP_ERR_KEY_NOT_FOUND) {
      return false;
   }
   XP_SDK_CALL(portVlanIvifMgr()->readEntry(chipId().value(), 0, index, &held));
   remember(ivifIndex_, key, index);
   return true;
}

bool ChipHwAclIdSm::findEvif(xpEgressBdEvifEntry& entry, uint32_t& index) {
   const uint32_t key = evifKey(entry);
   const xpEgressBdEvifData want = entry.data;
   if (const uint32_t* at = evifIndex_.find(key)) {
      if (XP_SDK_LOOKUP(egressBdEvifMgr()->readEntry(chipId().value(), *at, &entry)) ==
              XP_NO_ERR &&
          evifKey(entry) == key) {
         index = *at;
         return true;
      }
      evifIndex_.erase(key);
   }
   entry.key = {static_cast<uint16_t>(key >> 16), static_cast<uint16_t>(key)};
   entry.data = want;
   if (XP_SDK_LOOKUP(egressBdEvifMgr()->lookup(chipId().value(), &entry, index)) ==
       XP_ERR_KEY_NOT_FOUND) {
      return false;
   }
   XP_SDK_CALL(egressBdEvifMgr()->readEntry(chipId().value(), index, &entry));
   evifIndex_.set(key, index);
   return true;
}

void ChipHwAclIdSm::programIngressPAcl(const Plexo::IntfId& intf) {
   const AclIdEn binding = chipHwAclIdMap_->ingressPortAclIdEn(intf);
   const uint16_t portId = chipPort(intf);
   xpPortConfigEntry portCfgEntry;
   portCfgEntry.PAclId = programmedId(binding);
   portCfgEntry.aclEnBits = enBits(binding);
   XP_SDK_CALL(portCfgMgr()->writeEntry(chipId().value(), portId, &portCfgEntry));
   NORV_TRACE(8, "programIngressPAcl chip {} intf {} PAclId {} v4En {} v6En {} aclEnBits {}",
              chipId_, intf, portCfgEntry.PAclId, binding.v4En(), binding.v6En(),
              portCfgEntry.aclEnBits);
}

void ChipHwAclIdSm::programIngressRAcl(uint16_t vlan, const Plexo::IntfId& port) {
   NORV_ASSERT(systemStatus()->numTableCopies() == 1);
   const Bridging::VlanId vlanId(vlan);
   NORV_TRACE(8, "ChipHwAclIdSm::programIngressRAcl vlan {} port {}", vlan, port);
   const AclIdEn binding = chipHwAclIdMap_->ingressRouteAclIdEn(vlanId);
   xpPortVlanIvifEntry entry;
   entry.key.port = chipPort(port);
   entry.key.vlanId = vlan;
   const bool hasVif =
       chipPortVlanVifStatus_ && chipPortVlanVifStatus_->portVlanToVifMapColl().contains(
                                     XpLib::PortAndVlanId(port, vlan));
   uint32_t index = 0;
   xpPortVlanIvifEntry held;
   if (hasVif && !binding.isZero()) {
      entry.data.routeAclId = programmedId(binding);
      entry.data.routeAclEn = enBits(binding);
      if (!findIvif(entry, index, held)) {
         NORV_TRACE(8, "add vlanId {} port {} routeAclId {} routeAclEn {}", vlan, port,
                    entry.data.routeAclId, entry.data.routeAclEn);
         xpsHashIndexList indexList;
         XP_SDK_CALL(portVlanIvifMgr()->addEntry(chipId().value(), 0, &entry, &indexList));
         if (indexList.size > 1) NORV_TRACE(8, "Rehashing occurred! {}", indexList.size);
         remember(ivifIndex_, ivifKey(entry), indexList.index[0]);
      } else if (!(held.data == entry.data)) {
         NORV_TRACE(8, "updating vlanId {} port {} routeAclId {} routeAclEn {}", vlan, port,
                    entry.data.routeAclId, entry.data.routeAclEn);
         XP_SDK_CALL(portVlanIvifMgr()->writeEntry(chipId().value(), 0, index, &entry));
      }
      return;
   }
   NORV_TRACE(8, "disable vlanId {} port {}", vlan, port);
   if (!findIvif(entry, index, held)) {
      NORV_TRACE(8, "entry not present for removal vlanId {} port {}", vlan, port);
      return;
   }
   NORV_TRACE(8, "remove vlanId {} port {} index {}", vlan, port, index);
   XP_SDK_CALL(portVlanIvifMgr()->removeEntry(chipId().value(), index));
   ivifIndex_.erase(ivifKey(entry));
}

void ChipHwAclIdSm::leaveEgressEntry(const XpLib::PortAndVlanId& pair,
                                     const XpLib::PortVlanIvifTableKey& key, bool stale) {
   if (auto info = egressVifVlanInfo(key)) {
      info->portVlanDel(pair);
      if (info->portVlanCount() > 0) {
         NORV_TRACE(8,
                    "not removing egress vlanId {} vif {} due to vlanVif entry still used by "
                    "others",
                    key.vlanId(), key.vif());
         return;
      }
      egressVifVlanInfoDel(key);
   }
   xpEgressBdEvifEntry entry;
   entry.key.vif = key.vif();
   entry.key.vlanId = key.vlanId();
   uint32_t index = 0;
   if (!findEvif(entry, index)) {
      NORV_TRACE(8, "removing egress vlanId {} vif {} for an entry not present", key.vlanId(),
                 key.vif());
      return;
   }
   evifIndex_.erase(evifKey(entry));
   if (stale) {
      NORV_TRACE(8, "removing stale egress vlanId {} vif {} index {}", key.vlanId(), key.vif(),
                 index);
   } else {
      NORV_TRACE(8, "removing egress vlanId {} vif {} index {}", key.vlanId(), key.vif(),
                 index);
   }
   XP_SDK_CALL(egressBdEvifMgr()->removeEntry(chipId().value(), index));
}

void ChipHwAclIdSm::programEgressBdEvif(uint16_t vlan, const Plexo::IntfId& intf) {
   NORV_TRACE(8, "ChipHwAclIdSm::programEgressBdEvif vlan {} intf {}", vlan, intf);
   if (intf.isPortChannel()) {
      NORV_TRACE(8, "Ignoring port-channel interface {}", intf);
      return;
   }
   const Bridging::VlanId vlanId(vlan);
   const XpLib::PortAndVlanId pair(intf, vlan);
   // A member of a port-channel leaves through the port-channel's VIF.
   const Plexo::IntfId lag = xpcsd_->portToLag(intf);
   const XpLib::PortAndVlanId vifPair(lag.isEmpty() ? intf : lag, vlan);
   const XpVif::VifId* vif = chipPortVlanVifStatus_
                                 ? chipPortVlanVifStatus_->portVlanToVifMapColl().find(vifPair)
                                 : nullptr;
   const AclIdEn p = chipHwAclIdMap_->egressPortAclIdEn(intf);
   const AclIdEn r = chipHwAclIdMap_->egressRouteAclIdEn(vlanId);
   const bool needed =
       vif && (!p.isZero() || !r.isZero()) && (p.v4En() || p.v6En() || r.v4En() || r.v6En());
   const XpVif::VifId* oldVif = egressPortVlanToVifMapColl().find(pair);
   const bool hadVif = oldVif != nullptr;
   const XpLib::PortVlanIvifTableKey oldKey(hadVif ? oldVif->value() : 0, vlan);
   if (!needed) {
      if (hadVif) {
         egressPortVlanToVifMapDel(pair);
         leaveEgressEntry(pair, oldKey, false);
      } else if (vif) {
         leaveEgressEntry(pair, XpLib::PortVlanIvifTableKey(vif->value(), vlan), false);
      }
      return;
   }
   const XpLib::PortVlanIvifTableKey key(vif->value(), vlan);
   // A pair already on this key is in its set and in the map.
   if (!hadVif || oldKey != key) {
      egressVifVlanInfoIs(key)->portVlanIs(pair, true);
      egressPortVlanToVifMapIs(pair, *vif);
   }
   xpEgressBdEvifEntry entry;
   entry.key.vif = key.vif();
   entry.key.vlanId = vlan;
   uint32_t index = 0;
   if (!findEvif(entry, index)) {
      entry.data.acl = xpEgressBdEvifData::pack(programmedId(p), p.v4En(), p.v6En(),
                                                programmedId(r), r.v4En(), r.v6En());
      NORV_TRACE(8, "adding egress vlanId {} vif {} acl {}", vlan, key.vif(), entry.data.acl);
      xpsHashIndexList indexList;
      XP_SDK_CALL(egressBdEvifMgr()->addEntry(chipId().value(), &entry, &indexList));
      if (indexList.size > 1) NORV_TRACE(8, "Rehashing occurred! {}", indexList.size);
      evifIndex_.set(evifKey(entry), indexList.index[0]);
   } else {
      const uint32_t acl = xpEgressBdEvifData::pack(programmedId(p), p.v4En(), p.v6En(),
                                                    programmedId(r), r.v4En(), r.v6En());
      if (entry.data.acl != acl) {
         entry.data.acl = acl;
         NORV_TRACE(8, "updating egress vlanId {} vif {} acl {}", vlan, key.vif(), acl);
         XP_SDK_CALL(egressBdEvifMgr()->writeEntry(chipId().value(), index, &entry));
      }
   }
   if (hadVif && oldKey != key) leaveEgressEntry(pair, oldKey, true);
}

} // namespace XpAcl
