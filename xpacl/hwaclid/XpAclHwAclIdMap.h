#pragma once

// What the hardware ACL ID reactors record per chip: the ACL binding of every port and VLAN
// in each direction, and which users and rule lists share each hardware ACL index.
#include <array>
#include <cstdint>
#include <string>
#include <tuple>

#include "norv/Attributes.h"
#include "platform/Bridging.h"
#include "platform/OrimBinding.h"
#include "platform/Plexo.h"
#include "platform/XpLib.h"
#include "xpacl/XpAclExport.h"

namespace XpAcl {

// The ACL binding of one port or VLAN in one direction. All zero means no binding.
class XPACL_EXPORT AclIdEn {
public:
   AclIdEn() = default;
   AclIdEn(uint8_t aclId, bool v4En, bool v6En, bool blocked)
       : aclId_(aclId), v4En_(v4En), v6En_(v6En), blocked_(blocked) {}

   bool operator==(const AclIdEn&) const = default;
   bool isZero() const { return *this == AclIdEn(); }
   std::string text() const;
   // Reads back what text() wrote; anything else is a range error.
   static AclIdEn fromText(const std::string& text);

   // The hardware ACL identifier to program; 0 when none.
   NORV_VALUE_FIELD(uint8_t, aclId)
   NORV_VALUE_FIELD(bool, v4En)
   NORV_VALUE_FIELD(bool, v6En)
   // Traffic is denied whatever the identifier.
   NORV_VALUE_FIELD(bool, blocked)
};

#define XPACL_ACL_VER_EN_(name)                                                                \
public:                                                                                        \
   bool name() const {                                                                         \
      return name##_;                                                                          \
   }                                                                                           \
   void name##Is(bool v) {                                                                     \
      name##_ = v;                                                                             \
   }                                                                                           \
                                                                                               \
private:                                                                                       \
   bool name##_ = false;

// Which direction, ACL kind (port or routed) and IP version has a rule list at one index.
class AllAclVerEn : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AllAclVerEn")
   bool any() const {
      return ingressPaclV4En_ || ingressPaclV6En_ || ingressRaclV4En_ || ingressRaclV6En_ ||
             egressPaclV4En_ || egressPaclV6En_ || egressRaclV4En_ || egressRaclV6En_;
   }
   std::string text() const;

   XPACL_ACL_VER_EN_(ingressPaclV4En)
   XPACL_ACL_VER_EN_(ingressPaclV6En)
   XPACL_ACL_VER_EN_(ingressRaclV4En)
   XPACL_ACL_VER_EN_(ingressRaclV6En)
   XPACL_ACL_VER_EN_(egressPaclV4En)
   XPACL_ACL_VER_EN_(egressPaclV6En)
   XPACL_ACL_VER_EN_(egressRaclV4En)
   XPACL_ACL_VER_EN_(egressRaclV6En)
};
#undef XPACL_ACL_VER_EN_

// One chip's bindings. Setting a member to what it holds notifies nothing; an all-zero
// binding is deleted rather than stored, by the code that resolves it.
class ChipHwAclIdMap : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::ChipHwAclIdMap")
   class NotifieeConst : public Norv::NotifieeOf<ChipHwAclIdMap> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(IngressPortAclIdEn, Plexo::IntfId)
      NORV_ON_KEY(IngressRouteAclIdEn, Bridging::VlanId)
      NORV_ON_KEY(EgressPortAclIdEn, Plexo::IntfId)
      NORV_ON_KEY(EgressRouteAclIdEn, Bridging::VlanId)
      NORV_ON(ZeroReferences)
   };
   NORV_VALUE_COLL(ingressPortAclIdEn, IngressPortAclIdEn, Plexo::IntfId, AclIdEn,
                   Norv::HashMap)
   NORV_VALUE_COLL(ingressRouteAclIdEn, IngressRouteAclIdEn, Bridging::VlanId, AclIdEn,
                   Norv::HashMap)
   NORV_VALUE_COLL(egressPortAclIdEn, EgressPortAclIdEn, Plexo::IntfId, AclIdEn, Norv::HashMap)
   NORV_VALUE_COLL(egressRouteAclIdEn, EgressRouteAclIdEn, Bridging::VlanId, AclIdEn,
                   Norv::HashMap)
   NORV_SCALAR(zeroReferences, ZeroReferences, bool)
};

// The users of one hardware ACL index on a chip, and its rule lists' enables.
class HwAclIndexInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::HwAclIndexInfo")
   class NotifieeConst : public Norv::NotifieeOf<HwAclIndexInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(IntfId, Plexo::IntfId)
      NORV_ON_KEY(VlanId, Bridging::VlanId)
   };
   explicit HwAclIndexInfo(const Orim::HwAclIndex& hwAclIndex) : hwAclIndex_(hwAclIndex) {}
   const Orim::HwAclIndex& hwAclIndex() const { return hwAclIndex_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   // Interfaces whose port bindings use the index.
   NORV_VALUE_COLL(intfId, IntfId, Plexo::IntfId, bool, Norv::HashMap)
   // VLANs whose route bindings use the index.
   NORV_VALUE_COLL(vlanId, VlanId, Bridging::VlanId, bool, Norv::HashMap)
public:
   const Norv::Ptr<AllAclVerEn>& allAclVerEn() const { return allAclVerEn_; }
   void allAclVerEnIs(Norv::Ptr<AllAclVerEn> v) { allAclVerEn_ = std::move(v); }
   // Nobody uses the index and no rule list enables it: the info can go.
   bool unused() const {
      return intfIdCount() == 0 && vlanIdCount() == 0 &&
             (!allAclVerEn_ || !allAclVerEn_->any());
   }

private:
   Orim::HwAclIndex hwAclIndex_;
   Norv::Ptr<AllAclVerEn> allAclVerEn_;
};

// The port-VLAN pairs that share one egress BD-EVIF entry: the entry's reference count.
class EgressVifVlanInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::EgressVifVlanInfo")
   class NotifieeConst : public Norv::NotifieeOf<EgressVifVlanInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(PortVlan, XpLib::PortAndVlanId)
   };
   explicit EgressVifVlanInfo(const XpLib::PortVlanIvifTableKey& key) : key_(key) {}
   const XpLib::PortVlanIvifTableKey& key() const { return key_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_VALUE_COLL(portVlan, PortVlan, XpLib::PortAndVlanId, bool, Norv::HashMap)

private:
   XpLib::PortVlanIvifTableKey key_;
};

XPACL_EXPORT Norv::Ptr<AllAclVerEn> allAclVerEnFactory();
XPACL_EXPORT Norv::Ptr<ChipHwAclIdMap> chipHwAclIdMapFactory();

} // namespace XpAcl
