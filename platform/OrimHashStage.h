#pragma once

#include <cstdint>

#include "norv/Attributes.h"
#include "platform/Orim.h"

namespace Orim {

// The shape of one stage's hashed rule table as the hardware declares it to the layer that
// places rules: key width, number of ways, index bits per way and entries per bucket.
class HashStageDescriptor : public Norv::Entity {
public:
   NORV_ENTITY("Orim::HashStageDescriptor")
   HashStageDescriptor(const StageId& stageId, uint8_t keyLength, uint8_t numWays,
                       uint8_t indexBits, uint8_t bucketDepth)
       : stageId_(stageId), keyLength_(keyLength), numWays_(numWays), indexBits_(indexBits),
         bucketDepth_(bucketDepth) {}

   const StageId& stageId() const { return stageId_; }
   uint8_t keyLength() const { return keyLength_; }
   uint8_t numWays() const { return numWays_; }
   uint8_t indexBits() const { return indexBits_; }
   uint8_t bucketDepth() const { return bucketDepth_; }

private:
   StageId stageId_;
   uint8_t keyLength_;
   uint8_t numWays_;
   uint8_t indexBits_;
   uint8_t bucketDepth_;
};

} // namespace Orim
