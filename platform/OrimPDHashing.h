#pragma once

#include <cstdint>

#include "norv/Entity.h"
#include "platform/Orim.h"
#include "platform/OrimHashStage.h"
#include "platform/OrimMaskGroup.h"
#include "platform/OrimRule.h"

namespace Orim {

// What the layer that places rules asks of a device's hardware: where a rule's key falls in a
// way of a stage's table, how long the hardware key is, and the rule's counter.
class PDHashingFunction : public Norv::Entity {
public:
   virtual uint32_t getHash(const PDKeyValue& pdKey,
                            const Norv::Ptr<const HashStageDescriptor>& hashStageDescriptor,
                            const MaskGroupDescriptor& maskGroupDescriptor, uint8_t way,
                            const AclId& aclId) = 0;
   virtual uint32_t
   getHwKeyLen(const MaskGroupDescriptor& maskGroupDescriptor,
               const Norv::Ptr<const HashStageDescriptor>& hashStageDescriptor) const = 0;
   // The packets the rule hit since the previous question.
   virtual uint32_t getDeltaCounter(const ChipId& chipId, const AclId& aclId,
                                    uint32_t ruleId) = 0;
   virtual bool isCounterAttached(const ChipId& chipId, const AclId& aclId,
                                  uint32_t ruleId) const = 0;
};

} // namespace Orim
