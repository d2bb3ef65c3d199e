#pragma once

// The bit layout of a mask-group key-select entry: how a rule list's hardware key, its chip
// rule list id, its mask group and its SE profile are packed into the chip's entry, and back.
#include <cstdint>
#include <optional>

#include "platform/Orim.h"
#include "platform/OrimMaskGroup.h"
#include "xdk/xpMgksMgr.h"

namespace XpAcl {

struct MgksEntryFields {
   // Match.
   uint8_t aclId = 0;
   uint8_t pktType = 0;
   uint8_t aclType = 0;
   uint8_t direction = 0;
   // Result.
   uint8_t seProfile = 0;
   uint8_t dipLen = 0;
   bool sipEn = false;
   bool dipEn = false;
   bool sportEn = false;
   bool dportEn = false;
   bool ptEn = false;
   bool dscpEn = false;
   bool fragEn = false;
   bool ttlEn = false;
   bool smacEn = false;
   bool dmacEn = false;
   bool tcpFlagsEn = false;
   uint8_t resultAclId = 0;
   uint8_t resultPktType = 0;
   uint8_t resultAclType = 0;
   uint8_t resultDirection = 0;
   bool operator==(const MgksEntryFields&) const = default;
};

// Packet type and ACL type of a table type; none for a table type outside 1-4.
struct MgksAclTypeCodes {
   uint8_t pktType;
   uint8_t aclType;
};
std::optional<MgksAclTypeCodes> mgksAclTypeCodes(uint8_t tableType);

// The fields of the entry that selects `maskGroupDesc` and `seProfileId` for packets of `key`,
// bound to `chipRuleListId`; none for a table type outside 1-4.
std::optional<MgksEntryFields> mgksEntryFields(const Orim::ChipRuleListIdKey& key,
                                               const Orim::ChipRuleListId& chipRuleListId,
                                               const Orim::MaskGroupDescriptor& maskGroupDesc,
                                               uint8_t seProfileId);

xpMgksEntry packMgksEntry(const MgksEntryFields& f);
MgksEntryFields unpackMgksEntry(const xpMgksEntry& e);

} // namespace XpAcl
