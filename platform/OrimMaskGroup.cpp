#include "platform/OrimMaskGroup.h"

#include <cstdio>
#include <utility>

namespace Orim {

std::string EthAddr::text() const {
   char buf[18];
   std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", unsigned(v_ >> 40) & 0xff,
                 unsigned(v_ >> 32) & 0xff, unsigned(v_ >> 24) & 0xff,
                 unsigned(v_ >> 16) & 0xff, unsigned(v_ >> 8) & 0xff, unsigned(v_) & 0xff);
   return buf;
}

size_t MaskGroupDescriptor::hash() const {
   const size_t flags = size_t(srcPort_) | size_t(dstPort_) << 1 | size_t(dscp_) << 2 |
                        size_t(established_) << 3 | size_t(ethProto_) << 4 |
                        size_t(ipFrag_) << 5 | size_t(ipProto_) << 6 | size_t(ttl_) << 7;
   return (size_t(aclType_) << 56 | size_t(srcIpMaskLength_) << 48 |
           size_t(dstIpMaskLength_) << 40 | size_t(tcpFlag_) << 24 | flags) ^
          srcMacMask_.hash() * 31 ^ dstMacMask_.hash() * 17;
}

std::string MaskGroupDescriptor::text() const {
   const std::pair<bool, const char*> flags[] = {
       {dscp_, "DSCP"},     {established_, "Established"}, {ethProto_, "EthProto"},
       {ipFrag_, "IPFrag"}, {ipProto_, "IPProto"},         {ttl_, "TTL"},
   };
   std::string set;
   for (const auto& [on, name] : flags) {
      if (!on) continue;
      if (!set.empty()) set += '|';
      set += name;
   }
   char head[96];
   std::snprintf(head, sizeof head,
                 "MaskGroupDescriptor(type=%u sip=%u dip=%u sport=%u dport=%u",
                 unsigned(aclType_), unsigned(srcIpMaskLength_), unsigned(dstIpMaskLength_),
                 unsigned(srcPort_), unsigned(dstPort_));
   char tcp[16];
   std::snprintf(tcp, sizeof tcp, "0x%x", unsigned(tcpFlag_));
   return std::string(head) + " src=" + srcMacMask_.text() + " dst=" + dstMacMask_.text() +
          " tcp=" + tcp + " flags=" + (set.empty() ? "none" : set) + ")";
}

} // namespace Orim
