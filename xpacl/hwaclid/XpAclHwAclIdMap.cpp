#include "xpacl/hwaclid/XpAclHwAclIdMap.h"

#include <cstdio>
#include <cstring>

#include "norv/Errors.h"
#include "norv/Value.h"

namespace XpAcl {

std::string AclIdEn::text() const {
   return Norv::valueText("XpAcl::AclIdEn", Norv::field("aclId", aclId_),
                          Norv::field("v4En", v4En_), Norv::field("v6En", v6En_),
                          Norv::field("blocked", blocked_));
}

AclIdEn AclIdEn::fromText(const std::string& text) {
   unsigned aclId = 0;
   char v4[6] = {};
   char v6[6] = {};
   char blocked[6] = {};
   int used = 0;
   const int n = std::sscanf(text.c_str(),
                             "Value('XpAcl::AclIdEn', ** {'aclId': %u, 'v4En': %5[a-z], "
                             "'v6En': %5[a-z], 'blocked': %5[a-z]})%n",
                             &aclId, v4, v6, blocked, &used);
   auto flag = [](const char* s) { return std::strcmp(s, "true") == 0; };
   const AclIdEn value(static_cast<uint8_t>(aclId), flag(v4), flag(v6), flag(blocked));
   // Written back, it must read exactly as given: that rules out blanks, signs, overflow and
   // words other than true and false.
   if (n != 4 || used != static_cast<int>(text.size()) || value.text() != text) {
      throw Norv::RangeError("not the text of an XpAcl::AclIdEn: " + text);
   }
   return value;
}

std::string AllAclVerEn::text() const {
   return Norv::valueText("XpAcl::AllAclVerEn",
                          Norv::field("ingressPaclV4En", ingressPaclV4En_),
                          Norv::field("ingressPaclV6En", ingressPaclV6En_),
                          Norv::field("ingressRaclV4En", ingressRaclV4En_),
                          Norv::field("ingressRaclV6En", ingressRaclV6En_),
                          Norv::field("egressPaclV4En", egressPaclV4En_),
                          Norv::field("egressPaclV6En", egressPaclV6En_),
                          Norv::field("egressRaclV4En", egressRaclV4En_),
                          Norv::field("egressRaclV6En", egressRaclV6En_));
}

Norv::Ptr<AllAclVerEn> allAclVerEnFactory() {
   return new AllAclVerEn();
}

Norv::Ptr<ChipHwAclIdMap> chipHwAclIdMapFactory() {
   return new ChipHwAclIdMap();
}

} // namespace XpAcl
