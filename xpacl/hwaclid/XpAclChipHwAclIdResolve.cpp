// The resolving half of ChipHwAclIdSm: its life, its inputs, and the ACL binding (AclIdEn) of
// every port and VLAN of the chip, kept in its ChipHwAclIdMap.
#include <type_traits>
#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "platform/Corvo.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xpacl/hwaclid/XpAclChipHwAclIdSm.h"

namespace XpAcl {

// The hardware ACL ID reactors share one trace handle, defined with the top reactor.
extern ::Norv::TraceHandle norvTraceHandle_;

namespace {

constexpr auto kBlockAll = Orim::GlobalAclControl::globalAclBlockAll;
constexpr auto kBypassAll = Orim::GlobalAclControl::globalAclBypassAll;

} // namespace

ChipHwAclIdSm::ChipHwAclIdSm(const Orim::ChipId& chipId,
                             Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                             Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                             Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                             Norv::Ptr<const XpAclCommonSmData> xpcsd)
    : chipId_(chipId), chipDataFlowConfig_(std::move(chipDataFlowConfig)),
      portVifStatus_(std::move(portVifStatus)), systemStatus_(std::move(systemStatus)),
      xpcsd_(std::move(xpcsd)) {
   if (chipDataFlowConfig_) {
      norvChipDataFlowConfig_ =
          std::make_unique<NorvChipDataFlowConfig>(this, chipDataFlowConfig_);
   }
   if (xpcsd_) norvXpcsd_ = std::make_unique<NorvXpcsd>(this, xpcsd_);
   handleInitialized();
}

// The chip keeps what was written: the reactor has no clean-up of its own.
ChipHwAclIdSm::~ChipHwAclIdSm() = default;

void ChipHwAclIdSm::handleInitialized() {
   NORV_TRACE(8, "ChipHwAclIdSm::handleInitialized chipId {}", chipId_);
   chipHwAclIdMap_ = chipHwAclIdMapFactory();
   norvChipHwAclIdMap_ = std::make_unique<NorvChipHwAclIdMap>(this, chipHwAclIdMap_);
   portCfgMgr_ = xpIfPl::instance()->getMgr<xpPortConfigMgr>(
       xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0));
   portVlanIvifMgr_ = xpIfPl::instance()->getMgr<xpPortVlanIvifMgr>(
       xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
   egressBdEvifMgr_ = xpIfPl::instance()->getMgr<xpEgressBdEvifMgr>(
       xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0));
   NORV_ASSERT(portCfgMgr());
   NORV_ASSERT(portVlanIvifMgr());
   NORV_ASSERT(egressBdEvifMgr());
   initializedIs(true);
   doApplyConfig();
}

void ChipHwAclIdSm::doApplyConfig() {
   NORV_TRACE(8, "ChipHwAclIdSm::doApplyConfig chipId {}", chipId_);
   handleChipRuleListKeyToId();
   handleIntfToHwAclIndex();
   if (chipAaclBlockedIntfColl_) handleBlockedIntf();
   reconcilePortAclEn();
   handleVlanToHwAclIndex();
   if (aaclBlockedVlanColl_) handleBlockedVlan();
}

void ChipHwAclIdSm::chipAaclBlockedIntfCollIs(Norv::Ptr<const AaclBlockedIntfColl> coll) {
   if (coll == chipAaclBlockedIntfColl_) return;
   chipAaclBlockedIntfColl_ = coll;
   if (!coll) {
      norvChipAaclBlockedIntfColl_.reset();
   } else if (norvChipAaclBlockedIntfColl_) {
      norvChipAaclBlockedIntfColl_->notifierIs(coll);
   } else {
      norvChipAaclBlockedIntfColl_ = std::make_unique<NorvChipAaclBlockedIntfColl>(this, coll);
      if (initialized()) handleBlockedIntf();
   }
}

void ChipHwAclIdSm::aaclBlockedVlanCollIs(Norv::Ptr<const AaclBlockedVlanColl> coll) {
   if (coll == aaclBlockedVlanColl_) return;
   aaclBlockedVlanColl_ = coll;
   if (!coll) {
      norvAaclBlockedVlanColl_.reset();
   } else if (norvAaclBlockedVlanColl_) {
      norvAaclBlockedVlanColl_->notifierIs(coll);
   } else {
      norvAaclBlockedVlanColl_ = std::make_unique<NorvAaclBlockedVlanColl>(this, coll);
      if (initialized()) handleBlockedVlan();
   }
}

void ChipHwAclIdSm::chipPortVlanVifStatusIs(Norv::Ptr<const XpVif::PortVlanVifStatus> status) {
   if (status == chipPortVlanVifStatus_) return;
   chipPortVlanVifStatus_ = status;
   if (!status) {
      norvChipPortVlanVifStatus_.reset();
   } else if (norvChipPortVlanVifStatus_) {
      norvChipPortVlanVifStatus_->notifierIs(status);
   } else {
      norvChipPortVlanVifStatus_ = std::make_unique<NorvChipPortVlanVifStatus>(this, status);
      if (initialized()) handlePortVlan();
   }
}

// The user joins the info of its new index and leaves that of its old one.
template <class Key, class Leave, class Join>
void ChipHwAclIdSm::moveIndexUser(const Key& user, bool mapped, uint8_t index, Leave&& leave,
                                  Join&& join) {
   std::vector<Orim::HwAclIndex> old;
   for (auto it = hwAclIndexInfoColl().begin(); it; ++it) {
      if (leave(*it.value(), false) && (!mapped || it.key().value() != index)) {
         old.push_back(it.key());
      }
   }
   constexpr bool kIntf = std::is_same_v<Key, Plexo::IntfId>;
   for (const auto& oldIndex : old) {
      if (kIntf) {
         NORV_TRACE(8, "removing map intf {} hwAclIndex {}", user, oldIndex);
      } else {
         NORV_TRACE(8, "removing map vlan {} hwAclIndex {}", user, oldIndex);
      }
      leave(*hwAclIndexInfo(oldIndex), true);
      releaseIndexInfo(oldIndex);
   }
   if (mapped) {
      if (kIntf) {
         NORV_TRACE(8, "adding map intf {} hwAclIndex {}", user, index);
      } else {
         NORV_TRACE(8, "adding map vlan {} hwAclIndex {}", user, index);
      }
      join(*hwAclIndexInfoIs(Orim::HwAclIndex(index)));
   }
}

void ChipHwAclIdSm::releaseIndexInfo(const Orim::HwAclIndex& index) {
   auto info = hwAclIndexInfo(index);
   if (info && info->unused()) {
      NORV_TRACE(8, "removing hai {}", index);
      hwAclIndexInfoDel(index);
   }
}

void ChipHwAclIdSm::handleIntfToHwAclIndex(const Plexo::IntfId& intf) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleIntfToHwAclIndex intf {}", intf);
   const auto& coll = chipDataFlowConfig_->intfToHwAclIndexColl();
   const uint8_t* index = coll.find(intf);
   moveIndexUser(
       intf, index != nullptr, index ? *index : 0,
       [&](HwAclIndexInfo& info, bool del) {
          if (del) info.intfIdDel(intf);
          return info.intfId(intf);
       },
       [&](HwAclIndexInfo& info) { info.intfIdIs(intf, true); });
   setPortAclIdEn(intf);
}

void ChipHwAclIdSm::handleIntfToHwAclIndex() {
   std::vector<Plexo::IntfId> intfs;
   for (auto it = chipDataFlowConfig_->intfToHwAclIndexColl().begin(); it; ++it)
      intfs.push_back(it.key());
   // Users of an index that lost their binding meanwhile.
   for (auto it = hwAclIndexInfoColl().begin(); it; ++it) {
      for (auto u = it.value()->intfIdColl().begin(); u; ++u) {
         if (!chipDataFlowConfig_->intfToHwAclIndexColl().contains(u.key())) {
            intfs.push_back(u.key());
         }
      }
   }
   for (const auto& intf : intfs)
      handleIntfToHwAclIndex(intf);
}

void ChipHwAclIdSm::handleVlanToHwAclIndex(const Bridging::VlanId& vlan) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleVlanToHwAclIndex vlan {}", vlan);
   const uint8_t* index = chipDataFlowConfig_->vlanToHwAclIndexColl().find(vlan);
   moveIndexUser(
       vlan, index != nullptr, index ? *index : 0,
       [&](HwAclIndexInfo& info, bool del) {
          if (del) info.vlanIdDel(vlan);
          return info.vlanId(vlan);
       },
       [&](HwAclIndexInfo& info) { info.vlanIdIs(vlan, true); });
   setRouteAclIdEn(vlan);
}

void ChipHwAclIdSm::handleVlanToHwAclIndex() {
   std::vector<Bridging::VlanId> vlans;
   for (auto it = chipDataFlowConfig_->vlanToHwAclIndexColl().begin(); it; ++it)
      vlans.push_back(it.key());
   for (auto it = hwAclIndexInfoColl().begin(); it; ++it) {
      for (auto u = it.value()->vlanIdColl().begin(); u; ++u) {
         if (!chipDataFlowConfig_->vlanToHwAclIndexColl().contains(u.key())) {
            vlans.push_back(u.key());
         }
      }
   }
   for (const auto& vlan : vlans)
      handleVlanToHwAclIndex(vlan);
}

void ChipHwAclIdSm::handleChipRuleListKeyToId(const Orim::ChipRuleListIdKey& key) {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleChipRuleListKeyToId key {}", key);
   const Orim::HwAclIndex index(static_cast<uint16_t>(key.hwAclIndex()));
   auto info = hwAclIndexInfoIs(index);
   if (!info->allAclVerEn()) info->allAclVerEnIs(allAclVerEnFactory());
   AllAclVerEn& flags = *info->allAclVerEn();
   const bool en = chipDataFlowConfig_->chipRuleListKeyToIdColl().contains(key);
   const bool egress = key.direction() == Orim::AclDirection::out;
   switch (key.tableType()) {
   case 1:
      egress ? flags.egressPaclV4EnIs(en) : flags.ingressPaclV4EnIs(en);
      break;
   case 2:
      egress ? flags.egressRaclV4EnIs(en) : flags.ingressRaclV4EnIs(en);
      break;
   case 3:
      egress ? flags.egressPaclV6EnIs(en) : flags.ingressPaclV6EnIs(en);
      break;
   case 4:
      egress ? flags.egressRaclV6EnIs(en) : flags.ingressRaclV6EnIs(en);
      break;
   default:
      NORV_ASSERT(0);
   }
   if (en || flags.any()) return;
   if (info->intfIdCount() == 0 && info->vlanIdCount() == 0) {
      NORV_TRACE(8, "removing hai {}", index);
      hwAclIndexInfoDel(index);
   } else {
      NORV_TRACE(8, "clearing hai flags {}", index);
      info->allAclVerEnIs(allAclVerEnFactory());
   }
}

void ChipHwAclIdSm::handleChipRuleListKeyToId() {
   std::vector<Orim::ChipRuleListIdKey> keys;
   for (auto it = chipDataFlowConfig_->chipRuleListKeyToIdColl().begin(); it; ++it)
      keys.push_back(it.key());
   for (const auto& key : keys)
      handleChipRuleListKeyToId(key);
}

void ChipHwAclIdSm::handleGlobalAclControl() {
   if (!initialized()) return;
   NORV_TRACE(8, "ChipHwAclIdSm::handleGlobalAclControl globalAclControl {}",
              chipDataFlowConfig_->globalAclControl());
   doApplyConfig();
}

void ChipHwAclIdSm::handleBlockedIntf(const Plexo::IntfId& intf) {
   NORV_ASSERT(initialized());
   NORV_ASSERT(chipAaclBlockedIntfColl());
   NORV_TRACE(8, "ChipHwAclIdSm::handleBlockedIntf intf {}", intf);
   setPortAclIdEn(intf);
}

void ChipHwAclIdSm::handleBlockedIntf() {
   NORV_ASSERT(initialized());
   NORV_ASSERT(chipAaclBlockedIntfColl());
   std::vector<Plexo::IntfId> intfs;
   for (auto it = chipAaclBlockedIntfColl_->blockedIntfColl().begin(); it; ++it)
      intfs.push_back(it.key());
   for (const auto& intf : intfs)
      handleBlockedIntf(intf);
}

void ChipHwAclIdSm::handleBlockedVlan(const Bridging::VlanId& vlan) {
   NORV_ASSERT(initialized());
   NORV_ASSERT(aaclBlockedVlanColl());
   NORV_TRACE(8, "ChipHwAclIdSm::handleBlockedVlan vlan {}", vlan);
   setRouteAclIdEn(vlan);
}

void ChipHwAclIdSm::handleBlockedVlan() {
   NORV_ASSERT(initialized());
   NORV_ASSERT(aaclBlockedVlanColl());
   std::vector<Bridging::VlanId> vlans;
   for (auto it = aaclBlockedVlanColl_->blockedVlanColl().begin(); it; ++it)
      vlans.push_back(it.key());
   for (const auto& vlan : vlans)
      handleBlockedVlan(vlan);
}

void ChipHwAclIdSm::setPortAclIdEn(const Plexo::IntfId& intf) {
   NORV_TRACE(8, "ChipHwAclIdSm::setPortAclIdEn intf {}", intf);
   const auto control = chipDataFlowConfig_->globalAclControl();
   const bool intfBlocked =
       chipAaclBlockedIntfColl_ && chipAaclBlockedIntfColl_->blockedIntfColl().contains(intf);
   const uint8_t* index = chipDataFlowConfig_->intfToHwAclIndexColl().find(intf);
   const uint8_t portAclId = index ? *index : 0;
   if (index) NORV_ASSERT(portAclId);
   AclIdEn ingress(portAclId, false, false, false);
   AclIdEn egress = ingress;
   if (control == kBlockAll || intfBlocked) {
      NORV_TRACE(8, "blocking intf for both v4 and v6 {}", intf);
      ingress = egress = AclIdEn(portAclId, true, true, true);
   } else if (control == kBypassAll) {
      // The identifier stays, the lookups are off.
   } else if (!index) {
      NORV_TRACE(8, "deleted intfId {}", intf);
   } else {
      NORV_TRACE(8, "setting intfId {} pacl {}", intf, portAclId);
      auto info = hwAclIndexInfo(Orim::HwAclIndex(portAclId));
      if (!info || !info->allAclVerEn()) {
         NORV_TRACE(8, "2nd level mapping unavailable {}", intf);
      } else {
         const AllAclVerEn& en = *info->allAclVerEn();
         ingress.v4EnIs(en.ingressPaclV4En());
         ingress.v6EnIs(en.ingressPaclV6En());
         egress.v4EnIs(en.egressPaclV4En());
         egress.v6EnIs(en.egressPaclV6En());
      }
   }
   if (ingress.isZero()) {
      chipHwAclIdMap_->ingressPortAclIdEnDel(intf);
   } else {
      chipHwAclIdMap_->ingressPortAclIdEnIs(intf, ingress);
   }
   if (egress.isZero()) {
      chipHwAclIdMap_->egressPortAclIdEnDel(intf);
   } else {
      chipHwAclIdMap_->egressPortAclIdEnIs(intf, egress);
   }
   NORV_TRACE(8,
              "chip {} intf {} intfBlocked {} globalAclControl {} portAclId {} ingressV4En {} "
              "ingressV6En {} egressV4En {} egressV6En {}",
              chipId_, intf, intfBlocked, control, portAclId, ingress.v4En(), ingress.v6En(),
              egress.v4En(), egress.v6En());
}

void ChipHwAclIdSm::setRouteAclIdEn(const Bridging::VlanId& vlan) {
   NORV_TRACE(8, "ChipHwAclIdSm::setRouteAclIdEn vlan {}", vlan);
   const auto control = chipDataFlowConfig_->globalAclControl();
   const bool vlanBlocked =
       aaclBlockedVlanColl_ && aaclBlockedVlanColl_->blockedVlanColl().contains(vlan);
   const uint8_t* index = chipDataFlowConfig_->vlanToHwAclIndexColl().find(vlan);
   const uint8_t routeAclId = index ? *index : 0;
   if (index) NORV_ASSERT(routeAclId);
   AclIdEn ingress(routeAclId, false, false, false);
   AclIdEn egress = ingress;
   if (control == kBlockAll || vlanBlocked) {
      ingress = egress = AclIdEn(routeAclId, true, true, true);
   } else if (control == kBypassAll) {
      // The identifier stays, the lookups are off.
   } else if (!index) {
      NORV_TRACE(8, "deleted vlan {}", vlan);
   } else {
      auto info = hwAclIndexInfo(Orim::HwAclIndex(routeAclId));
      if (!info || !info->allAclVerEn()) {
         NORV_TRACE(8, "acl info not present {}", vlan);
      } else {
         const AllAclVerEn& en = *info->allAclVerEn();
         ingress.v4EnIs(en.ingressRaclV4En());
         ingress.v6EnIs(en.ingressRaclV6En());
         egress.v4EnIs(en.egressRaclV4En());
         egress.v6EnIs(en.egressRaclV6En());
      }
   }
   if (ingress.isZero()) {
      chipHwAclIdMap_->ingressRouteAclIdEnDel(vlan);
   } else {
      chipHwAclIdMap_->ingressRouteAclIdEnIs(vlan, ingress);
   }
   if (egress.isZero()) {
      chipHwAclIdMap_->egressRouteAclIdEnDel(vlan);
   } else {
      chipHwAclIdMap_->egressRouteAclIdEnIs(vlan, egress);
   }
   NORV_TRACE(8,
              "chip {} vlan {} globalAclControl {} routeAclId {} aclId {} ingressV4En {} "
              "ingressV6En {} egressV4En {} egressV6En {}",
              chipId_, vlan, control, routeAclId, ingress.aclId(), ingress.v4En(),
              ingress.v6En(), egress.v4En(), egress.v6En());
}

void ChipHwAclIdSm::reconcilePortAclEn() {
   NORV_TRACE(8, "ChipHwAclIdSm::reconcilePortAclEn chipId {}", chipId_);
   if (!portVifStatus_) return;
   const Corvo::Central::DeviceId chip(chipId_.value());
   std::vector<Plexo::IntfId> ports;
   for (auto it = portVifStatus_->intfToChipPortColl().begin(); it; ++it) {
      const Plexo::IntfId intf = it.key();
      if (Corvo::Central::DeviceId(it.value().deviceId()) != chip) {
         NORV_TRACE(9, "not in intfToChipPort coll {}", intf);
      } else if (chipAaclBlockedIntfColl_ &&
                 chipAaclBlockedIntfColl_->blockedIntfColl().contains(intf)) {
         NORV_TRACE(9, "found in blockedIntf coll {}", intf);
      } else if (chipDataFlowConfig_->intfToHwAclIndexColl().contains(intf)) {
         NORV_TRACE(9, "found in intfToHwAclIndex map {}", intf);
      } else {
         ports.push_back(intf);
      }
   }
   const bool blockAll = chipDataFlowConfig_->globalAclControl() == kBlockAll;
   for (const auto& intf : ports) {
      if (blockAll) {
         NORV_TRACE(8, "enabled denyAll on intf {}", intf);
         chipHwAclIdMap_->ingressPortAclIdEnIs(intf, AclIdEn(0, true, true, false));
      } else {
         NORV_TRACE(8, "cleared ingress denyAll on intf {}", intf);
         chipHwAclIdMap_->ingressPortAclIdEnDel(intf);
         NORV_TRACE(8, "cleared egress acls on intf {}", intf);
         chipHwAclIdMap_->egressPortAclIdEnDel(intf);
      }
   }
}

Norv::Ptr<ChipHwAclIdSm>
chipHwAclIdSmFactory(const Orim::ChipId& chipId,
                     Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                     Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                     Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                     Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData) {
   return new ChipHwAclIdSm(chipId, std::move(chipDataFlowConfig), std::move(portVifStatus),
                            std::move(systemStatus), std::move(xpAclCommonSmData));
}

} // namespace XpAcl
