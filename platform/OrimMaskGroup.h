#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>

#include "norv/Export.h"

namespace Orim {

// A 48-bit Ethernet address or mask.
class NORV_EXPORT EthAddr {
public:
   constexpr EthAddr() = default;
   constexpr explicit EthAddr(uint64_t v) : v_(v & 0xffffffffffffull) {}
   uint64_t value() const { return v_; }
   auto operator<=>(const EthAddr&) const = default;
   bool operator==(const EthAddr&) const = default;
   size_t hash() const { return static_cast<size_t>(v_); }
   // "xx:xx:xx:xx:xx:xx"
   std::string text() const;

private:
   uint64_t v_ = 0;
};

// Which fields a rule list's rules match on at one stage: the key layout its entries need.
// IP mask lengths are those of the compressed address labels.
class NORV_EXPORT MaskGroupDescriptor {
public:
   uint8_t aclType() const { return aclType_; }
   void aclTypeIs(uint8_t v) { aclType_ = v; }
   uint8_t srcIpMaskLength() const { return srcIpMaskLength_; }
   void srcIpMaskLengthIs(uint8_t v) { srcIpMaskLength_ = v; }
   uint8_t dstIpMaskLength() const { return dstIpMaskLength_; }
   void dstIpMaskLengthIs(uint8_t v) { dstIpMaskLength_ = v; }
   bool srcPort() const { return srcPort_; }
   void srcPortIs(bool v) { srcPort_ = v; }
   bool dstPort() const { return dstPort_; }
   void dstPortIs(bool v) { dstPort_ = v; }
   const EthAddr& srcMacMask() const { return srcMacMask_; }
   void srcMacMaskIs(const EthAddr& v) { srcMacMask_ = v; }
   const EthAddr& dstMacMask() const { return dstMacMask_; }
   void dstMacMaskIs(const EthAddr& v) { dstMacMask_ = v; }
   uint16_t tcpFlag() const { return tcpFlag_; }
   void tcpFlagIs(uint16_t v) { tcpFlag_ = v; }
   bool dscp() const { return dscp_; }
   void dscpIs(bool v) { dscp_ = v; }
   bool established() const { return established_; }
   void establishedIs(bool v) { established_ = v; }
   bool ethProto() const { return ethProto_; }
   void ethProtoIs(bool v) { ethProto_ = v; }
   bool ipFrag() const { return ipFrag_; }
   void ipFragIs(bool v) { ipFrag_ = v; }
   bool ipProto() const { return ipProto_; }
   void ipProtoIs(bool v) { ipProto_ = v; }
   bool ttl() const { return ttl_; }
   void ttlIs(bool v) { ttl_ = v; }

   bool operator==(const MaskGroupDescriptor&) const = default;
   size_t hash() const;
   // "MaskGroupDescriptor(type=1 sip=16 dip=3 sport=0 dport=0 src=00:00:00:00:00:00
   // dst=00:00:00:00:00:00 tcp=0x0 flags=DSCP|TTL)", the set flags in that fixed order.
   std::string text() const;

private:
   uint8_t aclType_ = 0;
   uint8_t srcIpMaskLength_ = 0;
   uint8_t dstIpMaskLength_ = 0;
   bool srcPort_ = false;
   bool dstPort_ = false;
   EthAddr srcMacMask_;
   EthAddr dstMacMask_;
   uint16_t tcpFlag_ = 0;
   bool dscp_ = false;
   bool established_ = false;
   bool ethProto_ = false;
   bool ipFrag_ = false;
   bool ipProto_ = false;
   bool ttl_ = false;
};

} // namespace Orim
