#pragma once

#include <cstdint>
#include <string>

#include "norv/Export.h"
#include "norv/Value.h"
#include "platform/Acl.h"
#include "platform/IdValue.h"

// Identifiers of the hardware-abstraction layer.
namespace Orim {

struct ChipIdTag {};
using ChipId = Platform::IdValue<ChipIdTag, uint32_t>;

struct StageIdTag {};
using StageId = Platform::IdValue<StageIdTag, uint32_t>;

struct ChipRuleListIdTag {};
using ChipRuleListId = Platform::IdValue<ChipRuleListIdTag, uint32_t>;

using AclDirection = Acl::AclDirection;

// A rule list as the chip sees it: hardware ACL index, protocol type, table type, direction.
class ChipRuleListIdKey {
public:
   ChipRuleListIdKey() = default;
   ChipRuleListIdKey(uint32_t hwAclIndex, uint8_t protocolType, uint8_t tableType,
                     AclDirection direction)
       : hwAclIndex_(hwAclIndex), protocolType_(protocolType), tableType_(tableType),
         direction_(direction) {}

   uint32_t hwAclIndex() const { return hwAclIndex_; }
   uint8_t protocolType() const { return protocolType_; }
   uint8_t tableType() const { return tableType_; }
   AclDirection direction() const { return direction_; }

   auto operator<=>(const ChipRuleListIdKey&) const = default;
   bool operator==(const ChipRuleListIdKey&) const = default;
   // Mixed, so that keys apart only in the index still spread over a table's low bits.
   size_t hash() const {
      uint64_t h = (uint64_t(hwAclIndex_) << 24) ^ (uint64_t(protocolType_) << 16) ^
                   (uint64_t(tableType_) << 8) ^ uint64_t(direction_);
      h *= 0x9e3779b97f4a7c15ull;
      return static_cast<size_t>(h ^ (h >> 29));
   }
   std::string text() const {
      return Norv::valueText("Orim::ChipRuleListIdKey", Norv::field("hwAclIndex", hwAclIndex_),
                             Norv::field("protocolType", protocolType_),
                             Norv::field("tableType", tableType_),
                             Norv::field("direction", direction_));
   }

private:
   uint32_t hwAclIndex_ = 0;
   uint8_t protocolType_ = 0;
   uint8_t tableType_ = 0;
   AclDirection direction_ = AclDirection::in;
};

} // namespace Orim
