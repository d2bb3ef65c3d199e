#include "xpacl/hwaclid/XpAclHwAclIdSm.h"

#include <memory>
#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "platform/XpXdk.h"

namespace XpAcl {

// One trace handle for every file of the hardware ACL ID reactors.
extern ::Norv::TraceHandle norvTraceHandle_;
::Norv::TraceHandle norvTraceHandle_("XpAclHwAclIdSm");

HwAclIdSm::HwAclIdSm(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                     Norv::Ptr<const XpVif::PortVlanVifStatus> portVlanVifStatus,
                     Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                     Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                     Norv::Ptr<const Orim::PDConfig> pDConfig,
                     Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData)
    : dataFlowConfig_(std::move(dataFlowConfig)),
      portVlanVifStatus_(std::move(portVlanVifStatus)),
      portVifStatus_(std::move(portVifStatus)), systemStatus_(std::move(systemStatus)),
      pDConfig_(std::move(pDConfig)), xpAclCommonSmData_(std::move(xpAclCommonSmData)) {
   if (dataFlowConfig_) {
      norvDataFlowConfig_ = std::make_unique<NorvDataFlowConfig>(this, dataFlowConfig_);
   }
   if (portVlanVifStatus_) {
      norvPortVlanVifStatus_ =
          std::make_unique<NorvPortVlanVifStatus>(this, portVlanVifStatus_);
   }
   if (pDConfig_) norvPDConfig_ = std::make_unique<NorvPDConfig>(this, pDConfig_);
   handleInitialized();
}

HwAclIdSm::~HwAclIdSm() {
   chipHwAclIdSmDelAll();
   chipPortVlanVifStatusDelAll();
   chipAaclBlockedIntfCollDelAll();
}

void HwAclIdSm::handleInitialized() {
   NORV_TRACE(8, "HwAclIdSm::handleInitialized");
   initializedIs(true);
   handleAaclBlockedIntf();
   handlePortVlanToVifMap();
   handleChipDataFlowConfig();
}

bool HwAclIdSm::chipOf(const Plexo::IntfId& intf, Orim::ChipId& chipId) const {
   const auto* dev = xpAclCommonSmData_->intfToDevIdColl().find(intf);
   if (!dev) return false;
   chipId = Orim::ChipId(dev->value());
   return true;
}

Norv::Ptr<XpVif::PortVlanVifStatus> HwAclIdSm::chipPortVlanVifStatusOf(const Orim::ChipId& id) {
   auto status = chipPortVlanVifStatus(id);
   if (!status) {
      status = XpVif::portVlanVifStatusFactory(id.text());
      chipPortVlanVifStatusIs(id, status);
      if (auto sm = chipHwAclIdSm(id)) sm->chipPortVlanVifStatusIs(status);
   }
   return status;
}

Norv::Ptr<AaclBlockedIntfColl> HwAclIdSm::chipAaclBlockedIntfCollOf(const Orim::ChipId& id) {
   auto coll = chipAaclBlockedIntfColl(id);
   if (!coll) {
      coll = aaclBlockedIntfCollFactory();
      chipAaclBlockedIntfCollIs(id, coll);
      if (auto sm = chipHwAclIdSm(id)) sm->chipAaclBlockedIntfCollIs(coll);
   }
   return coll;
}

Norv::Ptr<AaclBlockedVlanColl> HwAclIdSm::aaclBlockedVlanCollOf() {
   if (!aaclBlockedVlanColl_) {
      aaclBlockedVlanColl_ = aaclBlockedVlanCollFactory();
      for (auto it = chipHwAclIdSmColl().begin(); it; ++it)
         it.value()->aaclBlockedVlanCollIs(aaclBlockedVlanColl_);
   }
   return aaclBlockedVlanColl_;
}

void HwAclIdSm::handleChipDataFlowConfig(const Orim::ChipId& chipId) {
   if (!initialized()) return;
   NORV_TRACE(8, "HwAclIdSm::handleChipDataFlowConfig chipId {}", chipId);
   auto config = dataFlowConfig_ ? dataFlowConfig_->chipDataFlowConfig(chipId) : nullptr;
   if (!config) {
      chipHwAclIdSmDel(chipId);
      return;
   }
   // A configuration replaced under the same chip is another input: its reactor starts anew.
   if (auto old = chipHwAclIdSm(chipId); old && old->chipDataFlowConfig() != config) {
      chipHwAclIdSmDel(chipId);
   }
   auto sm = Norv::memberIs(
       chipHwAclIdSm_, chipId,
       [&] {
          return chipHwAclIdSmFactory(chipId, config, portVifStatus_, systemStatus_,
                                      xpAclCommonSmData_);
       },
       Norv::Ptr<const Orim::ChipDataFlowConfig>(config), portVifStatus_, systemStatus_,
       xpAclCommonSmData_);
   sm->chipAaclBlockedIntfCollIs(chipAaclBlockedIntfCollOf(chipId));
   sm->aaclBlockedVlanCollIs(aaclBlockedVlanCollOf());
   sm->chipPortVlanVifStatusIs(chipPortVlanVifStatusOf(chipId));
}

void HwAclIdSm::handleChipDataFlowConfig() {
   std::vector<Orim::ChipId> chips;
   if (dataFlowConfig_) {
      for (auto it = dataFlowConfig_->chipDataFlowConfigColl().begin(); it; ++it)
         chips.push_back(it.key());
   }
   for (auto it = chipHwAclIdSmColl().begin(); it; ++it) {
      if (!dataFlowConfig_ || !dataFlowConfig_->chipDataFlowConfigColl().contains(it.key())) {
         chips.push_back(it.key());
      }
   }
   for (const auto& chipId : chips)
      handleChipDataFlowConfig(chipId);
}

void HwAclIdSm::applyPortVlan(const Orim::ChipId& chipId,
                              const XpLib::PortAndVlanId& portVlan) {
   auto status = chipPortVlanVifStatusOf(chipId);
   const XpVif::VifId* vif = portVlanVifStatus_->portVlanToVifMapColl().find(portVlan);
   if (vif) {
      NORV_TRACE(8, "add port {} vlan {} chip {}", portVlan.intfId(), portVlan.vlanId(),
                 chipId);
      NORV_TRACE(8, "{} to vif {}", portVlan, *vif);
      status->portVlanToVifMapIs(portVlan, *vif);
   } else {
      NORV_TRACE(8, "delete port {} vlan {} chip {}", portVlan.intfId(), portVlan.vlanId(),
                 chipId);
      status->portVlanToVifMapDel(portVlan);
   }
}

void HwAclIdSm::handlePortVlanToVifMap(const XpLib::PortAndVlanId& portVlan) {
   if (!initialized()) return;
   NORV_TRACE(8, "HwAclIdSm::handlePortVlanToVifMap portVlan {}", portVlan);
   const Plexo::IntfId intf = portVlan.intfId();
   Orim::ChipId chipId;
   if (!intf.isPortChannel()) {
      if (!chipOf(intf, chipId)) {
         NORV_TRACE(8, "not present in system status {}", intf);
         return;
      }
      applyPortVlan(chipId, portVlan);
      return;
   }
   NORV_TRACE(8, "port channel intf {}", intf);
   std::unique_ptr<std::vector<Plexo::IntfId>> lagPhyIfSet;
   for (auto it = xpAclCommonSmData_->portToLagColl().begin(); it; ++it) {
      if (it.value() != intf) continue;
      if (!lagPhyIfSet) lagPhyIfSet = std::make_unique<std::vector<Plexo::IntfId>>();
      lagPhyIfSet->push_back(it.key());
   }
   NORV_ASSERT(!!lagPhyIfSet);
   // Each chip once, however many members it holds.
   auto chips = Norv::Ptr<XpXdk::XpDeviceIdSet>(new XpXdk::XpDeviceIdSet());
   for (const auto& member : *lagPhyIfSet) {
      NORV_TRACE(8, "member intf {}", member);
      if (!chipOf(member, chipId)) {
         NORV_TRACE(8, "not present in system status {}", member);
         continue;
      }
      if (chips->deviceId(XpXdk::deviceIdOf(chipId))) continue;
      chips->deviceIdIs(XpXdk::deviceIdOf(chipId), true);
      applyPortVlan(chipId, portVlan);
   }
}

void HwAclIdSm::handlePortVlanToVifMap() {
   if (!portVlanVifStatus_) return;
   std::vector<XpLib::PortAndVlanId> pairs;
   for (auto it = portVlanVifStatus_->portVlanToVifMapColl().begin(); it; ++it)
      pairs.push_back(it.key());
   for (const auto& pair : pairs)
      handlePortVlanToVifMap(pair);
}

void HwAclIdSm::handleAaclBlockedIntf(const Plexo::IntfId& intf) {
   if (!initialized()) return;
   NORV_TRACE(8, "HwAclIdSm::handleAaclBlockedIntf intf {}", intf);
   const bool blocked = pDConfig_ && pDConfig_->blockedIntf(intf);
   if (intf.isVlanIntf()) {
      const Bridging::VlanId vlan = intf.vlanId();
      auto coll = aaclBlockedVlanCollOf();
      if (blocked) {
         coll->blockedVlanIs(vlan, true);
      } else {
         coll->blockedVlanDel(vlan);
      }
      return;
   }
   Orim::ChipId chipId;
   if (!chipOf(intf, chipId)) {
      NORV_TRACE(8, "not present in system status {}", intf);
      return;
   }
   auto coll = chipAaclBlockedIntfCollOf(chipId);
   if (blocked) {
      coll->blockedIntfIs(intf, true);
   } else {
      coll->blockedIntfDel(intf);
   }
}

void HwAclIdSm::handleAaclBlockedIntf() {
   if (!pDConfig_) return;
   std::vector<Plexo::IntfId> intfs;
   for (auto it = pDConfig_->blockedIntfColl().begin(); it; ++it)
      intfs.push_back(it.key());
   for (const auto& intf : intfs)
      handleAaclBlockedIntf(intf);
}

Norv::Ptr<HwAclIdSm>
hwAclIdSmFactory(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                 Norv::Ptr<const XpVif::PortVlanVifStatus> portVlanVifStatus,
                 Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                 Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                 Norv::Ptr<const Orim::PDConfig> pDConfig,
                 Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData) {
   return new HwAclIdSm(std::move(dataFlowConfig), std::move(portVlanVifStatus),
                        std::move(portVifStatus), std::move(systemStatus), std::move(pDConfig),
                        std::move(xpAclCommonSmData));
}

} // namespace XpAcl
