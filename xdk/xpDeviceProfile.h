#pragma once

#include <cstdint>

// The table sizes of one device. Each table the model carries adds its own field here, with the
// size the chip has by default, so that a plain xpDeviceProfile{} describes a full-size device
// and a test shrinks only the tables it cares about.
struct xpDeviceProfile {
   uint32_t l4PortEntries = 65536;   // per L4 port table (source, destination)
   uint32_t ipXformEntries = 4096;   // per IP transform table (one per direction)
   uint32_t mgTableEntries = 8192;   // per way of each stage's mask-group table (a power of 2)
   uint32_t mgTableWays = 4;         // ways of each stage's mask-group table
   uint32_t mgksTableEntries = 1024; // per key-select table (one per LDE), 4 ways
   uint32_t portConfigEntries = 65536;   // port configuration table, one entry per port number
   uint32_t portVlanIvifEntries = 65536; // port-VLAN ingress VIF table (hashed)
   uint32_t egressBdEvifEntries = 65536; // egress BD-EVIF table (hashed)
   uint32_t numTableCopies = 1;          // copies of the port-VLAN ingress VIF table
   bool operator==(const xpDeviceProfile&) const = default;
};
