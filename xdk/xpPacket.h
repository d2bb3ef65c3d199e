#pragma once

#include <array>
#include <cstdint>

// A packet as the ACL engine sees it: where it is (device, port, VLAN, direction) and the
// header fields its lookups read. Addresses of an IPv4 packet sit in the last word, most
// significant word first, as the IP transform table keeps them.
struct xpAclPacket {
   uint8_t devId = 0;
   bool egress = false;
   uint32_t port = 0; // ingress: the receiving port; egress: the transmitting port
   uint16_t vlan = 1; // 1..4094
   uint32_t egressVif =
       0; // egress only: the port-VLAN pair's egress VIF, as forwarding gives it
   bool ipv6 = false;
   std::array<uint32_t, 4> sip{};
   std::array<uint32_t, 4> dip{};
   uint8_t protocol = 0;
   uint16_t sport = 0;
   uint16_t dport = 0;
   uint8_t ttl = 64;
   bool fragment = false; // a non-first fragment: it carries no L4 header
   uint8_t tcpFlags = 0;  // the TCP header's flag byte (ACK 0x10, RST 0x04)
};
