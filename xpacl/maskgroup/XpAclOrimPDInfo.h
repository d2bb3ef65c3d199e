#pragma once

// The chip's answer to the layer that places rules in the hashed tables: where a rule's key
// falls in each way, and the rule's hit counts.
#include <array>
#include <cstdint>
#include <tuple>

#include "norv/Attributes.h"
#include "platform/OrimPDHashing.h"
#include "platform/XpXdk.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"

namespace XpAcl {

// One device's hashing function. The hash is the chip's own over the very key that the
// helper writes, so a rule placed where getHash says is where the chip looks for it.
class XPACL_EXPORT Xp80PDHashingFunction : public Orim::PDHashingFunction {
public:
   NORV_ENTITY("XpAcl::Xp80PDHashingFunction")
   Xp80PDHashingFunction(const XpXdk::XpDeviceId& deviceId,
                         Norv::Ptr<MgTableHelper> mgTableHelper)
       : deviceId_(deviceId), mgTableHelper_(std::move(mgTableHelper)) {}

   const XpXdk::XpDeviceId& deviceId() const { return deviceId_; }
   const Norv::Ptr<MgTableHelper>& mgTableHelper() const { return mgTableHelper_; }
   uint32_t hwKeyLen() const { return hwKeyLen_; }
   void hwKeyLenIs(uint32_t bits) { hwKeyLen_ = bits; }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_mgTableHelper"};
   auto norvCtorAttrs() const { return std::make_tuple(mgTableHelper_); }

   uint32_t getHash(const Orim::PDKeyValue& pdKey,
                    const Norv::Ptr<const Orim::HashStageDescriptor>& hashStageDescriptor,
                    const Orim::MaskGroupDescriptor& maskGroupDescriptor, uint8_t way,
                    const Orim::AclId& aclId) override;
   uint32_t getHwKeyLen(
       const Orim::MaskGroupDescriptor& maskGroupDescriptor,
       const Norv::Ptr<const Orim::HashStageDescriptor>& hashStageDescriptor) const override;
   uint32_t getDeltaCounter(const Orim::ChipId& chipId, const Orim::AclId& aclId,
                            uint32_t ruleId) override;
   bool isCounterAttached(const Orim::ChipId& chipId, const Orim::AclId& aclId,
                          uint32_t ruleId) const override;

private:
   XpXdk::XpDeviceId deviceId_;
   Norv::Ptr<MgTableHelper> mgTableHelper_;
   uint32_t hwKeyLen_ = 128;
};

// The hashing function of each known device, all on the one helper.
class Xp80PDInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::Xp80PDInfo")
   class NotifieeConst : public Norv::NotifieeOf<Xp80PDInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(PdHashingFunction, XpXdk::XpDeviceId)
   };
   NORV_ENTITY_COLL(pdHashingFunction, PdHashingFunction, XpXdk::XpDeviceId,
                    Xp80PDHashingFunction, Norv::HashMap)
};

XPACL_EXPORT Norv::Ptr<Xp80PDHashingFunction>
xp80PDHashingFunctionFactory(const XpXdk::XpDeviceId& deviceId,
                             Norv::Ptr<MgTableHelper> mgTableHelper);
XPACL_EXPORT Norv::Ptr<Xp80PDInfo> xp80PDInfoFactory();

} // namespace XpAcl
