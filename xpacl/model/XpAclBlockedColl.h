#pragma once

// The interfaces and VLANs of one chip that are kept out of ACL lookup.
#include "norv/Attributes.h"
#include "platform/Bridging.h"
#include "platform/Plexo.h"
#include "xpacl/XpAclExport.h"

namespace XpAcl {

class AaclBlockedIntfColl : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclBlockedIntfColl")
   class NotifieeConst : public Norv::NotifieeOf<AaclBlockedIntfColl> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(BlockedIntf, Plexo::IntfId)
   };
   NORV_VALUE_COLL(blockedIntf, BlockedIntf, Plexo::IntfId, bool, Norv::HashMap)
};

class AaclBlockedVlanColl : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclBlockedVlanColl")
   class NotifieeConst : public Norv::NotifieeOf<AaclBlockedVlanColl> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(BlockedVlan, Bridging::VlanId)
   };
   NORV_VALUE_COLL(blockedVlan, BlockedVlan, Bridging::VlanId, bool, Norv::HashMap)
};

XPACL_EXPORT Norv::Ptr<AaclBlockedIntfColl> aaclBlockedIntfCollFactory();
XPACL_EXPORT Norv::Ptr<AaclBlockedVlanColl> aaclBlockedVlanCollFactory();

} // namespace XpAcl
