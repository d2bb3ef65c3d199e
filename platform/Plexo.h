#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "norv/Export.h"
#include "platform/Bridging.h"

namespace Plexo {

// An interface of the switch. The kind lives in the top byte so that one number orders and
// hashes every kind: Ethernet ports, port channels (LAGs) and VLAN interfaces. The empty id (0)
// is what a lookup yields when there is nothing.
class NORV_EXPORT IntfId {
public:
   enum class Kind : uint8_t { none = 0, ethernet = 1, portChannel = 2, vlan = 3 };

   constexpr IntfId() = default;
   constexpr explicit IntfId(uint32_t raw) : v_(raw) {}
   static IntfId ethernet(uint32_t port) { return make(Kind::ethernet, port); }
   static IntfId portChannel(uint32_t lag) { return make(Kind::portChannel, lag); }
   static IntfId vlan(Bridging::VlanId vlan) { return make(Kind::vlan, vlan.value()); }
   // Parses "Ethernet3", "Port-Channel7" or "Vlan10"; the empty id when the text is none.
   static IntfId fromText(const std::string& s);

   uint32_t value() const { return v_; }
   Kind kind() const { return static_cast<Kind>(v_ >> 24); }
   uint32_t number() const { return v_ & 0xffffffu; }
   bool isEmpty() const { return v_ == 0; }
   bool isEthernet() const { return kind() == Kind::ethernet; }
   bool isPortChannel() const { return kind() == Kind::portChannel; }
   bool isVlanIntf() const { return kind() == Kind::vlan; }
   // The VLAN of a VLAN interface (range error for any other kind of interface).
   Bridging::VlanId vlanId() const { return Bridging::VlanId(static_cast<uint16_t>(number())); }

   auto operator<=>(const IntfId&) const = default;
   bool operator==(const IntfId&) const = default;
   size_t hash() const { return v_; }
   std::string text() const;

private:
   static IntfId make(Kind k, uint32_t n);
   uint32_t v_ = 0;
};

} // namespace Plexo
