#pragma once

// The top reactor of the hardware ACL IDs: splits the system-wide blocked interfaces and
// port-VLAN VIFs per chip, and keeps one ChipHwAclIdSm per chip that has a data-flow
// configuration.
#include <array>
#include <memory>
#include <tuple>

#include "norv/Attributes.h"
#include "norv/Reactor.h"
#include "platform/OrimBinding.h"
#include "platform/OrimDataFlow.h"
#include "platform/XpSystem.h"
#include "platform/XpVif.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/hwaclid/XpAclChipHwAclIdSm.h"
#include "xpacl/model/XpAclBlockedColl.h"

namespace XpAcl {

class HwAclIdSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::HwAclIdSm")
   NORV_FORWARDING_NOTIFIEE(NorvDataFlowConfig, Orim::DataFlowConfig, HwAclIdSm,
                            ChipDataFlowConfig, Orim::ChipId, handleChipDataFlowConfig)
   NORV_FORWARDING_NOTIFIEE(NorvPortVlanVifStatus, XpVif::PortVlanVifStatus, HwAclIdSm,
                            PortVlanToVifMap, XpLib::PortAndVlanId, handlePortVlanToVifMap)
   NORV_FORWARDING_NOTIFIEE(NorvPDConfig, Orim::PDConfig, HwAclIdSm, BlockedIntf, Plexo::IntfId,
                            handleAaclBlockedIntf)

   HwAclIdSm(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
             Norv::Ptr<const XpVif::PortVlanVifStatus> portVlanVifStatus,
             Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
             Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
             Norv::Ptr<const Orim::PDConfig> pDConfig,
             Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData);
   ~HwAclIdSm() override;

   const Norv::Ptr<const Orim::DataFlowConfig>& dataFlowConfig() const {
      return dataFlowConfig_;
   }
   const Norv::Ptr<const XpVif::PortVlanVifStatus>& portVlanVifStatus() const {
      return portVlanVifStatus_;
   }
   const Norv::Ptr<const XpVif::PortVifStatus>& portVifStatus() const { return portVifStatus_; }
   const Norv::Ptr<const XpSystem::SystemStatus>& systemStatus() const { return systemStatus_; }
   const Norv::Ptr<const Orim::PDConfig>& pDConfig() const { return pDConfig_; }
   const Norv::Ptr<const XpAclCommonSmData>& xpAclCommonSmData() const {
      return xpAclCommonSmData_;
   }

   NORV_REACTOR_COLL(chipHwAclIdSm, ChipHwAclIdSm, Orim::ChipId, ChipHwAclIdSm, Norv::HashMap)
   NORV_PLAIN_COLL(chipPortVlanVifStatus, ChipPortVlanVifStatus, Orim::ChipId,
                   Norv::Ptr<XpVif::PortVlanVifStatus>, Norv::HashMap)
   NORV_PLAIN_COLL(chipAaclBlockedIntfColl, ChipAaclBlockedIntfColl, Orim::ChipId,
                   Norv::Ptr<AaclBlockedIntfColl>, Norv::HashMap)
public:
   const Norv::Ptr<AaclBlockedVlanColl>& aaclBlockedVlanColl() const {
      return aaclBlockedVlanColl_;
   }

   void handleInitialized() override;
   void handleChipDataFlowConfig(const Orim::ChipId& chipId);
   void handleChipDataFlowConfig();
   void handlePortVlanToVifMap(const XpLib::PortAndVlanId& portVlan);
   void handlePortVlanToVifMap();
   void handleAaclBlockedIntf(const Plexo::IntfId& intf);
   void handleAaclBlockedIntf();

private:
   // The chip of an interface as the interface-to-device map has it; false when it has none.
   bool chipOf(const Plexo::IntfId& intf, Orim::ChipId& chipId) const;
   // The chip's collections, created (and handed to its reactor) when missing.
   Norv::Ptr<XpVif::PortVlanVifStatus> chipPortVlanVifStatusOf(const Orim::ChipId& chipId);
   Norv::Ptr<AaclBlockedIntfColl> chipAaclBlockedIntfCollOf(const Orim::ChipId& chipId);
   Norv::Ptr<AaclBlockedVlanColl> aaclBlockedVlanCollOf();
   // Writes the pair's system-wide VIF, or its absence, into the chip's map.
   void applyPortVlan(const Orim::ChipId& chipId, const XpLib::PortAndVlanId& portVlan);

   Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig_;
   Norv::Ptr<const XpVif::PortVlanVifStatus> portVlanVifStatus_;
   Norv::Ptr<const XpVif::PortVifStatus> portVifStatus_;
   Norv::Ptr<const XpSystem::SystemStatus> systemStatus_;
   Norv::Ptr<const Orim::PDConfig> pDConfig_;
   Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData_;
   Norv::Ptr<AaclBlockedVlanColl> aaclBlockedVlanColl_;
   std::unique_ptr<NorvDataFlowConfig> norvDataFlowConfig_;
   std::unique_ptr<NorvPortVlanVifStatus> norvPortVlanVifStatus_;
   std::unique_ptr<NorvPDConfig> norvPDConfig_;
};

XPACL_EXPORT Norv::Ptr<HwAclIdSm>
hwAclIdSmFactory(Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                 Norv::Ptr<const XpVif::PortVlanVifStatus> portVlanVifStatus,
                 Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                 Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                 Norv::Ptr<const Orim::PDConfig> pDConfig,
                 Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData);

} // namespace XpAcl
