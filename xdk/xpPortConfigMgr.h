#pragma once

#include "xdk/xpDeviceTable.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <cstdint>

// The ACL fields of one port's configuration entry; the rest of the record belongs to other
// features of the chip. A packet entering the port is looked up with PAclId for the IP
// versions whose bit is set in aclEnBits (bit 0 IPv4, bit 1 IPv6).
struct xpPortConfigEntry {
   uint8_t PAclId = 0;
   uint8_t aclEnBits = 0;
   bool operator==(const xpPortConfigEntry&) const = default;
};

// The port configuration table, indexed by chip port number: one entry per possible port, so
// the chip's "no port" number (65535) has an entry too.
class xpPortConfigMgr : public xpDeviceTable<xpPortConfigEntry>,
                        public xpPrimitiveMgrBase<xpPortConfigMgr> {
protected:
   uint32_t tableSize(const xpDeviceProfile& profile) const override {
      return profile.portConfigEntries;
   }
};
