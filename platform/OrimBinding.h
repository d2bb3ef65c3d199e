#pragma once

#include <cstdint>

#include "norv/Attributes.h"
#include "norv/Export.h"
#include "platform/IdValue.h"
#include "platform/Plexo.h"

// How the hardware-abstraction layer binds interfaces and VLANs to hardware ACLs.
namespace Orim {

struct HwAclIndexTag {};
// A hardware ACL index: the rule lists of one binding share it, and the same number is the
// ACL identifier the chip's port and VIF tables carry.
using HwAclIndex = Platform::IdValue<HwAclIndexTag, uint16_t>;

// What every ACL binding of a chip does, whatever it is bound to.
enum class GlobalAclControl : uint8_t {
   // Bindings act as configured.
   globalAclNormal = 0,
   // Every port is blocked: mapped ports deny all, unmapped ones get a deny-all lookup.
   globalAclBlockAll = 1,
   // The identifiers stay, every lookup is off.
   globalAclBypassAll = 2,
};
NORV_EXPORT const char* norvEnumName(GlobalAclControl v);

// Configuration of the packet data path shared with the ACL driver: the interfaces whose
// traffic is kept out of ACL lookup and denied.
class PDConfig : public Norv::Entity {
public:
   NORV_ENTITY("Orim::PDConfig")
   class NotifieeConst : public Norv::NotifieeOf<PDConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(BlockedIntf, Plexo::IntfId)
   };
   explicit PDConfig(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_VALUE_COLL(blockedIntf, BlockedIntf, Plexo::IntfId, bool, Norv::HashMap)

private:
   Norv::Name name_;
};

NORV_EXPORT Norv::Ptr<PDConfig> pDConfigFactory(const Norv::Name& name);

} // namespace Orim
