#include "xpacl/maskgroup/XpAclMgksEntry.h"

namespace XpAcl {

namespace {

// An ACL id, packet type, ACL type and direction in one 16-bit little-endian word from
// `at`: bits 2-9 the id, 10-13 the packet type, 14 the ACL type, 15 the direction.
void putAcl(uint8_t* at, uint8_t aclId, uint8_t pktType, uint8_t aclType, uint8_t direction) {
   const uint16_t w = uint16_t(aclId) << 2 | uint16_t(pktType & 0xf) << 10 |
                      uint16_t(aclType & 1) << 14 | uint16_t(direction & 1) << 15;
   at[0] = uint8_t(w);
   at[1] = uint8_t(w >> 8);
}

void getAcl(const uint8_t* at, uint8_t& aclId, uint8_t& pktType, uint8_t& aclType,
            uint8_t& direction) {
   const uint16_t w = uint16_t(at[0] | at[1] << 8);
   aclId = uint8_t(w >> 2);
   pktType = (w >> 10) & 0xf;
   aclType = (w >> 14) & 1;
   direction = (w >> 15) & 1;
}

} // namespace

std::optional<MgksAclTypeCodes> mgksAclTypeCodes(uint8_t tableType) {
   switch (tableType) {
   case 1:
      return MgksAclTypeCodes{1, 0};
   case 2:
      return MgksAclTypeCodes{1, 1};
   case 3:
      return MgksAclTypeCodes{4, 0};
   case 4:
      return MgksAclTypeCodes{4, 1};
   }
   return std::nullopt;
}

std::optional<MgksEntryFields> mgksEntryFields(const Orim::ChipRuleListIdKey& key,
                                               const Orim::ChipRuleListId& chipRuleListId,
                                               const Orim::MaskGroupDescriptor& maskGroupDesc,
                                               uint8_t seProfileId) {
   const auto codes = mgksAclTypeCodes(key.tableType());
   if (!codes) return std::nullopt;
   MgksEntryFields f;
   f.aclId = uint8_t(key.hwAclIndex());
   f.pktType = codes->pktType;
   f.aclType = codes->aclType;
   f.direction = key.direction() == Acl::AclDirection::out;
   f.seProfile = seProfileId & 7;
   f.dipLen = maskGroupDesc.dstIpMaskLength() & 0xf;
   f.sipEn = maskGroupDesc.srcIpMaskLength() != 0;
   f.dipEn = maskGroupDesc.dstIpMaskLength() != 0;
   f.sportEn = maskGroupDesc.srcPort();
   f.dportEn = maskGroupDesc.dstPort();
   f.ptEn = maskGroupDesc.ipProto();
   f.dscpEn = maskGroupDesc.dscp();
   f.fragEn = maskGroupDesc.ipFrag();
   f.ttlEn = maskGroupDesc.ttl();
   f.smacEn = maskGroupDesc.srcMacMask() > Orim::EthAddr();
   f.dmacEn = maskGroupDesc.dstMacMask() > Orim::EthAddr();
   f.tcpFlagsEn = maskGroupDesc.established();
   f.resultAclId = uint8_t(chipRuleListId.value());
   f.resultPktType = f.pktType;
   f.resultAclType = f.aclType;
   f.resultDirection = f.direction;
   return f;
}

xpMgksEntry packMgksEntry(const MgksEntryFields& f) {
   xpMgksEntry e;
   putAcl(&e.bytes[0], f.aclId, f.pktType, f.aclType, f.direction);
   e.bytes[4] = uint8_t((f.seProfile & 7) | (f.dipLen & 0xf) << 3 | uint8_t(f.sipEn) << 7);
   e.bytes[5] = uint8_t(uint8_t(f.dipEn) | f.sportEn << 1 | f.dportEn << 2 | f.ptEn << 3 |
                        f.dscpEn << 4 | f.fragEn << 5 | f.ttlEn << 6 | f.smacEn << 7);
   e.bytes[6] = uint8_t(uint8_t(f.dmacEn) | f.tcpFlagsEn << 1);
   // The result's ACL word shares byte 6 with the two flags above: bits 2-9 of the word.
   uint8_t word[2];
   putAcl(word, f.resultAclId, f.resultPktType, f.resultAclType, f.resultDirection);
   e.bytes[6] |= word[0];
   e.bytes[7] = word[1];
   return e;
}

MgksEntryFields unpackMgksEntry(const xpMgksEntry& e) {
   MgksEntryFields f;
   getAcl(&e.bytes[0], f.aclId, f.pktType, f.aclType, f.direction);
   f.seProfile = e.bytes[4] & 7;
   f.dipLen = (e.bytes[4] >> 3) & 0xf;
   f.sipEn = e.bytes[4] >> 7 & 1;
   f.dipEn = e.bytes[5] & 1;
   f.sportEn = e.bytes[5] >> 1 & 1;
   f.dportEn = e.bytes[5] >> 2 & 1;
   f.ptEn = e.bytes[5] >> 3 & 1;
   f.dscpEn = e.bytes[5] >> 4 & 1;
   f.fragEn = e.bytes[5] >> 5 & 1;
   f.ttlEn = e.bytes[5] >> 6 & 1;
   f.smacEn = e.bytes[5] >> 7 & 1;
   f.dmacEn = e.bytes[6] & 1;
   f.tcpFlagsEn = e.bytes[6] >> 1 & 1;
   getAcl(&e.bytes[6], f.resultAclId, f.resultPktType, f.resultAclType, f.resultDirection);
   return f;
}

} // namespace XpAcl
