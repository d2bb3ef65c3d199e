#pragma once

#include "xdk/xpHashedTableMgr.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <cstdint>

// The ingress VIF of a port on a VLAN. Of its data the ACL driver owns the routed ACL fields:
// a packet of the pair is looked up with routeAclId for the IP versions whose bit is set in
// routeAclEn (bit 0 IPv4, bit 1 IPv6).
struct xpPortVlanIvifKey {
   uint16_t port = 0;
   uint16_t vlanId = 0;
};
struct xpPortVlanIvifData {
   uint8_t routeAclId = 0;
   uint8_t routeAclEn = 0;
   bool operator==(const xpPortVlanIvifData&) const = default;
};
struct xpPortVlanIvifEntry {
   xpPortVlanIvifKey key;
   xpPortVlanIvifData data;
};

// The port-VLAN ingress VIF table: hashed on port and VLAN, of fixed size, kept in as many
// copies as the device profile says.
class xpPortVlanIvifMgr : public xpHashedTableMgr<xpPortVlanIvifEntry>,
                          public xpPrimitiveMgrBase<xpPortVlanIvifMgr> {
public:
   XP_STATUS lookup(xpsDevice_t devId, const xpPortVlanIvifEntry* entry, uint32_t& index,
                    uint32_t copy) {
      return lookupIn(devId, copy, entry, index);
   }
   XP_STATUS addEntry(xpsDevice_t devId, uint32_t copy, const xpPortVlanIvifEntry* entry,
                      xpsHashIndexList* indexList) {
      return addIn(devId, copy, entry, indexList);
   }
   XP_STATUS writeEntry(xpsDevice_t devId, uint32_t copy, uint32_t index,
                        const xpPortVlanIvifEntry* entry) {
      return writeIn(devId, copy, index, entry);
   }
   XP_STATUS removeEntry(xpsDevice_t devId, uint32_t index) { return removeAt(devId, index); }
   XP_STATUS readEntry(xpsDevice_t devId, uint32_t copy, uint32_t index,
                       xpPortVlanIvifEntry* entry) {
      return readIn(devId, copy, index, entry);
   }

protected:
   uint32_t tableSize(const xpDeviceProfile& profile) const override {
      return profile.portVlanIvifEntries;
   }
   uint32_t numCopies(const xpDeviceProfile& profile) const override {
      return profile.numTableCopies;
   }
};
