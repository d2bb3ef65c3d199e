#include "platform/Plexo.h"

#include <cstdlib>

#include "norv/Errors.h"

namespace Plexo {

IntfId IntfId::make(Kind k, uint32_t n) {
   if (n == 0 || n > 0xffffffu)
      throw Norv::RangeError("IntfId::number < 1 or > 16777215 not allowed");
   return IntfId((static_cast<uint32_t>(k) << 24) | n);
}

std::string IntfId::text() const {
   switch (kind()) {
   case Kind::ethernet:
      return "Ethernet" + std::to_string(number());
   case Kind::portChannel:
      return "Port-Channel" + std::to_string(number());
   case Kind::vlan:
      return "Vlan" + std::to_string(number());
   case Kind::none:
      break;
   }
   return v_ == 0 ? std::string() : "Intf" + std::to_string(v_);
}

IntfId IntfId::fromText(const std::string& s) {
   static const struct {
      const char* prefix;
      Kind kind;
   } kinds[] = {
       {"Ethernet", Kind::ethernet}, {"Port-Channel", Kind::portChannel}, {"Vlan", Kind::vlan}};
   for (const auto& k : kinds) {
      const std::string p = k.prefix;
      if (s.size() <= p.size() || s.compare(0, p.size(), p) != 0) continue;
      const std::string digits = s.substr(p.size());
      if (digits.find_first_not_of("0123456789") != std::string::npos) break;
      const unsigned long n = std::strtoul(digits.c_str(), nullptr, 10);
      if (k.kind == Kind::vlan)
         return vlan(Bridging::VlanId(static_cast<uint16_t>(n > 65535 ? 65535 : n)));
      return make(k.kind, static_cast<uint32_t>(n > 0xffffffffUL ? 0 : n));
   }
   throw Norv::RangeError("not an interface name: '" + s + "'");
}

} // namespace Plexo
