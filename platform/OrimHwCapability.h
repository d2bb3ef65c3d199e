#pragma once

#include <cstdint>

#include "norv/Attributes.h"
#include "platform/Orim.h"
#include "platform/OrimHashStage.h"

namespace Orim {

// What one chip's hardware offers: the hash table of each stage, the IP mask lengths the
// lookups can match on, and the largest rule priority the entries can hold.
class ChipHwCapability : public Norv::Entity {
public:
   NORV_ENTITY("Orim::ChipHwCapability")
   class NotifieeConst : public Norv::NotifieeOf<ChipHwCapability> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(StageHashTableDescriptor, StageId)
      NORV_ON_KEY(SrcIpV4MaskLength, uint8_t)
      NORV_ON_KEY(SrcIpV6MaskLength, uint8_t)
      NORV_ON_KEY(DstIpV4MaskLength, uint8_t)
      NORV_ON_KEY(DstIpV6MaskLength, uint8_t)
      NORV_ON(PriorityFieldMaxCount)
   };
   explicit ChipHwCapability(const ChipId& chipId) : chipId_(chipId) {}
   const ChipId& chipId() const { return chipId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_VALUE_COLL(stageHashTableDescriptor, StageHashTableDescriptor, StageId,
                   Norv::Ptr<HashStageDescriptor>, Norv::RbTreeMap)
public:
   // Declares the stage's table anew and returns its descriptor.
   Norv::Ptr<HashStageDescriptor> stageHashTableDescriptorIs(const StageId& stageId,
                                                             uint8_t keyLength, uint8_t numWays,
                                                             uint8_t indexBits,
                                                             uint8_t bucketDepth) {
      Norv::Ptr<HashStageDescriptor> d =
          new HashStageDescriptor(stageId, keyLength, numWays, indexBits, bucketDepth);
      stageHashTableDescriptorIs(stageId, d);
      return d;
   }

   NORV_VALUE_COLL(srcIpV4MaskLength, SrcIpV4MaskLength, uint8_t, bool, Norv::HashMap)
   NORV_VALUE_COLL(srcIpV6MaskLength, SrcIpV6MaskLength, uint8_t, bool, Norv::HashMap)
   NORV_VALUE_COLL(dstIpV4MaskLength, DstIpV4MaskLength, uint8_t, bool, Norv::HashMap)
   NORV_VALUE_COLL(dstIpV6MaskLength, DstIpV6MaskLength, uint8_t, bool, Norv::HashMap)
   NORV_SCALAR(priorityFieldMaxCount, PriorityFieldMaxCount, uint16_t)

private:
   ChipId chipId_;
};

// What the hardware offers to the abstraction layer, per chip.
class HwCapabilityColl : public Norv::Entity {
public:
   NORV_ENTITY("Orim::HwCapabilityColl")
   class NotifieeConst : public Norv::NotifieeOf<HwCapabilityColl> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipHwCapability, ChipId)
   };
   explicit HwCapabilityColl(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipHwCapability, ChipHwCapability, ChipId, ChipHwCapability, Norv::HashMap)

private:
   Norv::Name name_;
};

} // namespace Orim
