#pragma once

#include "xdk/xpHashedTableMgr.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <cstdint>

// The egress entry of a VIF on a bridge domain (VLAN). Of its data the ACL driver owns the
// 20-bit ACL part: bits 0-7 the port ACL id, 8 and 9 its IPv4 and IPv6 enables, bits 10-17
// the routed ACL id, 18 and 19 its enables.
struct xpEgressBdEvifKey {
   uint16_t vif = 0;
   uint16_t vlanId = 0;
};
struct xpEgressBdEvifData {
   static constexpr uint32_t kAclBits = 20;
   uint32_t acl = 0;

   uint8_t paclId() const { return uint8_t(acl); }
   bool paclIdEnV4() const { return acl >> 8 & 1; }
   bool paclIdEnV6() const { return acl >> 9 & 1; }
   uint8_t raclId() const { return uint8_t(acl >> 10); }
   bool raclIdEnV4() const { return acl >> 18 & 1; }
   bool raclIdEnV6() const { return acl >> 19 & 1; }
   static uint32_t pack(uint8_t paclId, bool paclV4, bool paclV6, uint8_t raclId, bool raclV4,
                        bool raclV6) {
      return uint32_t{paclId} | uint32_t{paclV4} << 8 | uint32_t{paclV6} << 9 |
             uint32_t{raclId} << 10 | uint32_t{raclV4} << 18 | uint32_t{raclV6} << 19;
   }
   bool operator==(const xpEgressBdEvifData&) const = default;
};
struct xpEgressBdEvifEntry {
   xpEgressBdEvifKey key;
   xpEgressBdEvifData data;
};

// The egress BD-EVIF table: hashed on VIF and VLAN, of fixed size, one copy.
class xpEgressBdEvifMgr : public xpHashedTableMgr<xpEgressBdEvifEntry>,
                          public xpPrimitiveMgrBase<xpEgressBdEvifMgr> {
public:
   XP_STATUS lookup(xpsDevice_t devId, const xpEgressBdEvifEntry* entry, uint32_t& index) {
      return lookupIn(devId, 0, entry, index);
   }
   XP_STATUS addEntry(xpsDevice_t devId, const xpEgressBdEvifEntry* entry,
                      xpsHashIndexList* indexList) {
      return addIn(devId, 0, entry, indexList);
   }
   XP_STATUS writeEntry(xpsDevice_t devId, uint32_t index, const xpEgressBdEvifEntry* entry) {
      return writeIn(devId, 0, index, entry);
   }
   XP_STATUS removeEntry(xpsDevice_t devId, uint32_t index) { return removeAt(devId, index); }
   XP_STATUS readEntry(xpsDevice_t devId, uint32_t index, xpEgressBdEvifEntry* entry) {
      return readIn(devId, 0, index, entry);
   }

protected:
   uint32_t tableSize(const xpDeviceProfile& profile) const override {
      return profile.egressBdEvifEntries;
   }
   uint32_t numCopies(const xpDeviceProfile&) const override { return 1; }
};
