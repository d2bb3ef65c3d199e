#pragma once

// One chip's hardware ACL bindings: the resolving half turns the configured bindings, blocked
// interfaces and VLANs and the global ACL control into the chip's ChipHwAclIdMap; the
// programming half writes that map into the port configuration, port-VLAN ingress VIF and
// egress BD-EVIF tables.
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

#include "norv/Attributes.h"
#include "norv/FlatHashMap.h"
#include "norv/Reactor.h"
#include "platform/OrimDataFlow.h"
#include "platform/XpSystem.h"
#include "platform/XpVif.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/hwaclid/XpAclHwAclIdMap.h"
#include "xpacl/model/XpAclBlockedColl.h"

class xpPortConfigMgr;
class xpPortVlanIvifMgr;
class xpEgressBdEvifMgr;
struct xpPortVlanIvifEntry;
struct xpEgressBdEvifEntry;

namespace XpAcl {

// Where the chip holds each egress entry, keyed by its VIF and VLAN (VIF << 16 | VLAN), in
// pages of 64 VLANs of one VIF: a port's VLANs walked in order meet one page per 64 of them
// rather than a scattered slot each.
class EgressIndexCache {
public:
   const uint32_t* find(uint32_t key) const {
      const Page* page = pages_.find(key >> kPageBits);
      return page && (*page)[key & kPageMask] != kNone ? &(*page)[key & kPageMask] : nullptr;
   }
   void set(uint32_t key, uint32_t index) {
      (*pages_.insert(key >> kPageBits, emptyPage()).first)[key & kPageMask] = index;
   }
   void erase(uint32_t key) {
      Page* page = pages_.find(key >> kPageBits);
      if (!page) return;
      (*page)[key & kPageMask] = kNone;
      if (*page == emptyPage()) pages_.erase(key >> kPageBits);
   }

private:
   static constexpr uint32_t kPageBits = 6;
   static constexpr uint32_t kPageMask = (1u << kPageBits) - 1;
   static constexpr uint32_t kNone = UINT32_MAX;
   using Page = std::array<uint32_t, 1u << kPageBits>;
   static const Page& emptyPage() {
      static const Page empty = [] {
         Page p;
         p.fill(kNone);
         return p;
      }();
      return empty;
   }
   Norv::FlatHashMap<uint32_t, Page> pages_;
};

// A set of VLAN numbers as one bit each: walked in ascending order without chasing a node per
// member.
class VlanBits {
public:
   void insert(uint16_t vlan) {
      const uint64_t bit = uint64_t{1} << (vlan % 64);
      if (!(words_[vlan / 64] & bit)) ++count_;
      words_[vlan / 64] |= bit;
   }
   void erase(uint16_t vlan) {
      const uint64_t bit = uint64_t{1} << (vlan % 64);
      if (words_[vlan / 64] & bit) --count_;
      words_[vlan / 64] &= ~bit;
   }
   bool empty() const { return count_ == 0; }
   template <class F>
   void forEach(F&& f) const {
      for (size_t w = 0; w < words_.size(); ++w) {
         for (uint64_t bits = words_[w]; bits; bits &= bits - 1)
            f(static_cast<uint16_t>(w * 64 + static_cast<size_t>(__builtin_ctzll(bits))));
      }
   }

private:
   std::array<uint64_t, 65536 / 64> words_{};
   size_t count_ = 0;
};

class ChipHwAclIdSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::ChipHwAclIdSm")
   class NotifieeConst : public Norv::NotifieeOf<ChipHwAclIdSm> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(HwAclIndexInfo, Orim::HwAclIndex)
      NORV_ON_KEY(EgressVifVlanInfo, XpLib::PortVlanIvifTableKey)
      NORV_ON_KEY(PortToLagCache, Plexo::IntfId)
      NORV_ON_KEY(EgressPortVlanToVifMap, XpLib::PortAndVlanId)
   };

   // The chip's data-flow configuration: bindings, rule-list keys and the global control.
   class NorvChipDataFlowConfig : public Orim::ChipDataFlowConfig::NotifieeConst {
   public:
      NorvChipDataFlowConfig(ChipHwAclIdSm* sm, Norv::Ptr<const Orim::ChipDataFlowConfig> n)
          : NotifieeConst(sm, std::move(n)), sm_(sm) {}
      void onIntfToHwAclIndex(const Plexo::IntfId& k) override {
         sm_->handleIntfToHwAclIndex(k);
      }
      void onIntfToHwAclIndex() override { sm_->handleIntfToHwAclIndex(); }
      void onVlanToHwAclIndex(const Bridging::VlanId& k) override {
         sm_->handleVlanToHwAclIndex(k);
      }
      void onVlanToHwAclIndex() override { sm_->handleVlanToHwAclIndex(); }
      void onChipRuleListKeyToId(const Orim::ChipRuleListIdKey& k) override {
         sm_->handleChipRuleListKeyToId(k);
      }
      void onChipRuleListKeyToId() override { sm_->handleChipRuleListKeyToId(); }
      void onGlobalAclControl() override { sm_->handleGlobalAclControl(); }

   private:
      ChipHwAclIdSm* sm_;
   };
   NORV_FORWARDING_NOTIFIEE(NorvChipAaclBlockedIntfColl, AaclBlockedIntfColl, ChipHwAclIdSm,
                            BlockedIntf, Plexo::IntfId, handleBlockedIntf)
   NORV_FORWARDING_NOTIFIEE(NorvAaclBlockedVlanColl, AaclBlockedVlanColl, ChipHwAclIdSm,
                            BlockedVlan, Bridging::VlanId, handleBlockedVlan)
   NORV_FORWARDING_NOTIFIEE(NorvXpcsd, XpAclCommonSmData, ChipHwAclIdSm, PortToLag,
                            Plexo::IntfId, handlePortToLag)
   NORV_FORWARDING_NOTIFIEE(NorvChipPortVlanVifStatus, XpVif::PortVlanVifStatus, ChipHwAclIdSm,
                            PortVlanToVifMap, XpLib::PortAndVlanId, handlePortVlan)
   // The resolved map: every change of a binding is programmed.
   class NorvChipHwAclIdMap : public ChipHwAclIdMap::NotifieeConst {
   public:
      NorvChipHwAclIdMap(ChipHwAclIdSm* sm, Norv::Ptr<const ChipHwAclIdMap> n)
          : NotifieeConst(sm, std::move(n)), sm_(sm) {}
      void onIngressPortAclIdEn(const Plexo::IntfId& k) override {
         sm_->handleIngressPortAclIdEn(k);
      }
      void onIngressPortAclIdEn() override { sm_->handleIngressPortAclIdEn(); }
      void onIngressRouteAclIdEn(const Bridging::VlanId& k) override {
         sm_->handleIngressRouteAclIdEn(k);
      }
      void onIngressRouteAclIdEn() override { sm_->handleIngressRouteAclIdEn(); }
      void onEgressPortAclIdEn(const Plexo::IntfId& k) override {
         sm_->handleEgressPortAclIdEn(k);
      }
      void onEgressPortAclIdEn() override { sm_->handleEgressPortAclIdEn(); }
      void onEgressRouteAclIdEn(const Bridging::VlanId& k) override {
         sm_->handleEgressRouteAclIdEn(k);
      }
      void onEgressRouteAclIdEn() override { sm_->handleEgressRouteAclIdEn(); }

   private:
      ChipHwAclIdSm* sm_;
   };

   ChipHwAclIdSm(const Orim::ChipId& chipId,
                 Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                 Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                 Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                 Norv::Ptr<const XpAclCommonSmData> xpcsd);
   ~ChipHwAclIdSm() override;

   const Orim::ChipId& chipId() const { return chipId_; }
   const Norv::Ptr<const Orim::ChipDataFlowConfig>& chipDataFlowConfig() const {
      return chipDataFlowConfig_;
   }
   const Norv::Ptr<const XpVif::PortVifStatus>& portVifStatus() const { return portVifStatus_; }
   const Norv::Ptr<const XpSystem::SystemStatus>& systemStatus() const { return systemStatus_; }
   const Norv::Ptr<const XpAclCommonSmData>& xpcsd() const { return xpcsd_; }
   static constexpr std::array<const char*, 4> norvCtorAttrNames{
       "_chipDataFlowConfig", "_portVifStatus", "_systemStatus", "_xpcsd"};
   auto norvCtorAttrs() const {
      return std::make_tuple(chipDataFlowConfig_, portVifStatus_, systemStatus_, xpcsd_);
   }

   // Handed over by the top reactor; setting one (re)reads it whole.
   const Norv::Ptr<const AaclBlockedIntfColl>& chipAaclBlockedIntfColl() const {
      return chipAaclBlockedIntfColl_;
   }
   void chipAaclBlockedIntfCollIs(Norv::Ptr<const AaclBlockedIntfColl> coll);
   const Norv::Ptr<const AaclBlockedVlanColl>& aaclBlockedVlanColl() const {
      return aaclBlockedVlanColl_;
   }
   void aaclBlockedVlanCollIs(Norv::Ptr<const AaclBlockedVlanColl> coll);
   const Norv::Ptr<const XpVif::PortVlanVifStatus>& chipPortVlanVifStatus() const {
      return chipPortVlanVifStatus_;
   }
   void chipPortVlanVifStatusIs(Norv::Ptr<const XpVif::PortVlanVifStatus> status);

   const Norv::Ptr<ChipHwAclIdMap>& chipHwAclIdMap() const { return chipHwAclIdMap_; }
   NORV_ENTITY_COLL(hwAclIndexInfo, HwAclIndexInfo, Orim::HwAclIndex, HwAclIndexInfo,
                    Norv::HashMap)
   NORV_ENTITY_COLL(egressVifVlanInfo, EgressVifVlanInfo, XpLib::PortVlanIvifTableKey,
                    EgressVifVlanInfo, Norv::HashMap)
   NORV_VALUE_COLL(portToLagCache, PortToLagCache, Plexo::IntfId, Plexo::IntfId, Norv::HashMap)
   NORV_VALUE_COLL(egressPortVlanToVifMap, EgressPortVlanToVifMap, XpLib::PortAndVlanId,
                   XpVif::VifId, Norv::HashMap)
public:
   xpPortConfigMgr* portCfgMgr() const { return portCfgMgr_; }
   xpPortVlanIvifMgr* portVlanIvifMgr() const { return portVlanIvifMgr_; }
   xpEgressBdEvifMgr* egressBdEvifMgr() const { return egressBdEvifMgr_; }

   void handleInitialized() override;
   void doApplyConfig();

   // Resolution.
   void handleIntfToHwAclIndex(const Plexo::IntfId& intf);
   void handleIntfToHwAclIndex();
   void handleVlanToHwAclIndex(const Bridging::VlanId& vlan);
   void handleVlanToHwAclIndex();
   void handleChipRuleListKeyToId(const Orim::ChipRuleListIdKey& key);
   void handleChipRuleListKeyToId();
   void handleGlobalAclControl();
   void handleBlockedIntf(const Plexo::IntfId& intf);
   void handleBlockedIntf();
   void handleBlockedVlan(const Bridging::VlanId& vlan);
   void handleBlockedVlan();
   void setPortAclIdEn(const Plexo::IntfId& intf);
   void setRouteAclIdEn(const Bridging::VlanId& vlan);
   void reconcilePortAclEn();

   // Programming.
   void handlePortToLag(const Plexo::IntfId& port);
   void handlePortToLag();
   void handlePortVlan(const XpLib::PortAndVlanId& portVlan);
   void handlePortVlan();
   void handleIngressPortAclIdEn(const Plexo::IntfId& intf);
   void handleIngressPortAclIdEn();
   void handleIngressRouteAclIdEn(const Bridging::VlanId& vlan);
   void handleIngressRouteAclIdEn();
   void handleEgressPortAclIdEn(const Plexo::IntfId& intf);
   void handleEgressPortAclIdEn();
   void handleEgressRouteAclIdEn(const Bridging::VlanId& vlan);
   void handleEgressRouteAclIdEn();
   void programIngressPAcl(const Plexo::IntfId& intf);
   void programIngressRAcl(uint16_t vlan, const Plexo::IntfId& port);
   void programEgressBdEvif(uint16_t vlan, const Plexo::IntfId& intf);

   // The chip port number of an interface: 65535 when it has none.
   uint16_t chipPort(const Plexo::IntfId& intf) const;

private:
   // Index bookkeeping of one user (an interface or a VLAN) of a hardware ACL index.
   template <class Key, class Leave, class Join>
   void moveIndexUser(const Key& user, bool mapped, uint8_t index, Leave&& leave, Join&& join);
   // Removes the index info when nothing uses it any more.
   void releaseIndexInfo(const Orim::HwAclIndex& index);
   // The pairs of the chip's port-VLAN VIF map by interface and by VLAN, followed from its
   // notifications so that a binding change reaches its pairs without a walk of the map.
   void indexPortVlan(const XpLib::PortAndVlanId& portVlan, bool present);
   // The VLANs whose egress entries an interface takes part in: its own pairs', and those of
   // the port-channel it is programmed as a member of.
   std::vector<uint16_t> egressVlansOf(const Plexo::IntfId& intf) const;
   // The ports programmed on a VLAN's egress entries: the interfaces of its pairs, with the
   // programmed members of each port-channel among them.
   std::set<Plexo::IntfId> egressPortsOf(uint16_t vlan) const;
   // Leaves the egress entry of `key`: the last pair to leave removes it from the chip.
   void leaveEgressEntry(const XpLib::PortAndVlanId& pair,
                         const XpLib::PortVlanIvifTableKey& key, bool stale);

   // The chip entry of a key, found from the index written last, with what the chip holds in
   // it (`held`; the egress entry itself).
   bool findIvif(const xpPortVlanIvifEntry& entry, uint32_t& index, xpPortVlanIvifEntry& held);
   bool findEvif(xpEgressBdEvifEntry& entry, uint32_t& index);

   Orim::ChipId chipId_;
   Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig_;
   Norv::Ptr<const XpVif::PortVifStatus> portVifStatus_;
   Norv::Ptr<const XpSystem::SystemStatus> systemStatus_;
   Norv::Ptr<const XpAclCommonSmData> xpcsd_;
   Norv::Ptr<const AaclBlockedIntfColl> chipAaclBlockedIntfColl_;
   Norv::Ptr<const AaclBlockedVlanColl> aaclBlockedVlanColl_;
   Norv::Ptr<const XpVif::PortVlanVifStatus> chipPortVlanVifStatus_;
   Norv::Ptr<ChipHwAclIdMap> chipHwAclIdMap_;
   xpPortConfigMgr* portCfgMgr_ = nullptr;
   xpPortVlanIvifMgr* portVlanIvifMgr_ = nullptr;
   xpEgressBdEvifMgr* egressBdEvifMgr_ = nullptr;
   std::map<Plexo::IntfId, VlanBits> vlansOfIntf_;
   std::map<uint16_t, std::set<Plexo::IntfId>> intfsOfVlan_;
   std::map<Plexo::IntfId, std::set<Plexo::IntfId>> lagMembers_;
   Norv::FlatHashMap<uint32_t, uint32_t> ivifIndex_;
   EgressIndexCache evifIndex_;
   std::unique_ptr<NorvChipDataFlowConfig> norvChipDataFlowConfig_;
   std::unique_ptr<NorvXpcsd> norvXpcsd_;
   std::unique_ptr<NorvChipAaclBlockedIntfColl> norvChipAaclBlockedIntfColl_;
   std::unique_ptr<NorvAaclBlockedVlanColl> norvAaclBlockedVlanColl_;
   std::unique_ptr<NorvChipPortVlanVifStatus> norvChipPortVlanVifStatus_;
   std::unique_ptr<NorvChipHwAclIdMap> norvChipHwAclIdMap_;
};

Norv::Ptr<ChipHwAclIdSm>
chipHwAclIdSmFactory(const Orim::ChipId& chipId,
                     Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                     Norv::Ptr<const XpVif::PortVifStatus> portVifStatus,
                     Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                     Norv::Ptr<const XpAclCommonSmData> xpAclCommonSmData);

} // namespace XpAcl
