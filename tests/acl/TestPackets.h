#pragma once

#include "platform/PlexoIpGenPrefix.h"
#include "xdk/xpPacket.h"

// An IPv4 packet of the tests: addresses as text, source port 40000, TTL 64, no flags.
inline xpAclPacket ipv4Packet(uint8_t dev, uint32_t port, uint16_t vlan, const char* src,
                              const char* dst, uint8_t proto, uint16_t dport) {
   xpAclPacket p;
   p.devId = dev;
   p.port = port;
   p.vlan = vlan;
   p.sip = Plexo::IpGenPrefix::fromText(src).value().v6Prefix().address;
   p.dip = Plexo::IpGenPrefix::fromText(dst).value().v6Prefix().address;
   p.protocol = proto;
   p.sport = 40000;
   p.dport = dport;
   return p;
}
