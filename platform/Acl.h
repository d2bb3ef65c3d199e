#pragma once

#include <cstdint>
#include <string>

namespace Acl {

// The direction of traffic an ACL applies to.
enum class AclDirection : uint8_t { in = 0, out = 1 };
inline const char* norvEnumName(AclDirection d) {
   return d == AclDirection::in ? "in" : "out";
}

// A set of TCP flags, one bit each; the empty set (value 0) matches no flag.
class TcpFlag {
public:
   enum Bit : uint8_t { fin = 1, syn = 2, rst = 4, psh = 8, ack = 16, urg = 32 };
   constexpr TcpFlag() = default;
   constexpr explicit TcpFlag(uint8_t bits) : v_(bits) {}
   uint8_t value() const { return v_; }
   bool empty() const { return v_ == 0; }
   bool operator==(const TcpFlag&) const = default;
   std::string text() const { return std::to_string(v_); }

private:
   uint8_t v_ = 0;
};

} // namespace Acl
