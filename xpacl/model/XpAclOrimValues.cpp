#include "xpacl/model/XpAclOrimValues.h"

#include "norv/Assert.h"

namespace XpAcl {

AaclSuperkeyFields AaclSuperkeyFields::fromText(const std::string&) {
   using String = std::string;
   // clang-format off
   NORV_ASSERT(String( "This should not be used and doesn't work" ) == String( "" ));
   // clang-format on
   return {};
}

Norv::Ptr<AaclSeProfileSet> aaclSeProfileSetFactory() {
   return new AaclSeProfileSet();
}

const char* norvEnumName(AaclSeProfileStatusResult r) {
   switch (r) {
   case AaclSeProfileStatusResult::seProfileUnknown:
      return "seProfileUnknown";
   case AaclSeProfileStatusResult::seProfileFoundRequired:
      return "seProfileFoundRequired";
   case AaclSeProfileStatusResult::seProfileNotApplicable:
      return "seProfileNotApplicable";
   case AaclSeProfileStatusResult::seProfileNotAvailable:
      return "seProfileNotAvailable";
   }
   return "seProfileUnknown";
}

} // namespace XpAcl
