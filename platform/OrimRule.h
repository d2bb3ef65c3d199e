#pragma once

#include <cstdint>
#include <string>

#include "norv/Value.h"
#include "platform/Acl.h"
#include "platform/Orim.h"
#include "platform/OrimMaskGroup.h"

// One rule as the hardware-abstraction layer places it in a stage's hashed table: the ACL it
// belongs to, its compressed match key, its mask group, its action and where it sits.
namespace Orim {

// An ACL as the chip holds it: a chip rule list in one direction.
class AclId {
public:
   AclId() = default;
   AclId(ChipRuleListId chipRuleListId, Acl::AclDirection direction)
       : chipRuleListId_(chipRuleListId), direction_(direction) {}

   auto operator<=>(const AclId&) const = default;
   bool operator==(const AclId&) const = default;
   size_t hash() const { return size_t{chipRuleListId_.value()} << 1 | size_t(direction_); }
   std::string text() const {
      return Norv::valueText("Orim::AclId", Norv::field("chipRuleListId", chipRuleListId_),
                             Norv::field("direction", direction_));
   }
   // Reads back what text() wrote; anything else is a range error.
   static AclId fromText(const std::string& text);

   NORV_VALUE_FIELD(ChipRuleListId, chipRuleListId)
   NORV_VALUE_FIELD(Acl::AclDirection, direction)
};

// A rule's match key after field compression: the labels of its addresses and ports, and the
// header fields matched as they are.
class PDKeyValue {
public:
   bool operator==(const PDKeyValue&) const = default;
   std::string text() const {
      return Norv::valueText(
          "Orim::PDKeyValue", Norv::field("srcIpLabel", srcIpLabel_),
          Norv::field("dstIpLabel", dstIpLabel_), Norv::field("srcPortLabel", srcPortLabel_),
          Norv::field("dstPortLabel", dstPortLabel_), Norv::field("ttl", ttl_),
          Norv::field("tcpFlag", tcpFlag_), Norv::field("established", established_),
          Norv::field("fragment", fragment_), Norv::field("protocol", protocol_));
   }

   NORV_VALUE_FIELD(uint32_t, srcIpLabel)
   NORV_VALUE_FIELD(uint32_t, dstIpLabel)
   NORV_VALUE_FIELD(uint32_t, srcPortLabel)
   NORV_VALUE_FIELD(uint32_t, dstPortLabel)
   NORV_VALUE_FIELD(uint8_t, ttl)
   NORV_VALUE_FIELD(Acl::TcpFlag, tcpFlag)
   // Non-zero: the rule matches established TCP sessions only.
   NORV_VALUE_FIELD(uint8_t, established)
   NORV_VALUE_FIELD(bool, fragment)
   NORV_VALUE_FIELD(uint8_t, protocol)
};

// One rule placed in a stage's hashed table.
class PerStageTableEntry {
public:
   bool operator==(const PerStageTableEntry&) const = default;
   std::string text() const {
      return Norv::valueText(
          "Orim::PerStageTableEntry", Norv::field("aclId", aclId_),
          Norv::field("ruleId", ruleId_), Norv::field("pdKey", pdKey_),
          Norv::field("maskGroupDescriptor", maskGroupDescriptor_),
          Norv::field("aclResult", aclResult_), Norv::field("logging", logging_),
          Norv::field("counting", counting_), Norv::field("priority", priority_));
   }

   NORV_VALUE_FIELD(AclId, aclId)
   NORV_VALUE_FIELD(uint32_t, ruleId)
   NORV_VALUE_FIELD(PDKeyValue, pdKey)
   NORV_VALUE_FIELD(MaskGroupDescriptor, maskGroupDescriptor)
   // The verdict bit of a hit.
   NORV_VALUE_FIELD(bool, aclResult)
   NORV_VALUE_FIELD(bool, logging)
   NORV_VALUE_FIELD(bool, counting)
   // Larger wins.
   NORV_VALUE_FIELD(uint16_t, priority)
};

// Where a rule sits in a stage's hashed table: a way and the hash index within it.
class PerStageHashTableKey {
public:
   PerStageHashTableKey() = default;
   PerStageHashTableKey(uint32_t way, uint32_t hashIndex) : way_(way), hashIndex_(hashIndex) {}

   auto operator<=>(const PerStageHashTableKey&) const = default;
   bool operator==(const PerStageHashTableKey&) const = default;
   size_t hash() const { return size_t{way_} << 32 | hashIndex_; }
   std::string text() const {
      return Norv::valueText("Orim::PerStageHashTableKey", Norv::field("way", way_),
                             Norv::field("hashIndex", hashIndex_));
   }

   NORV_VALUE_FIELD(uint32_t, way)
   NORV_VALUE_FIELD(uint32_t, hashIndex)
};

} // namespace Orim
