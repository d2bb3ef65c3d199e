#include "platform/OrimBinding.h"

namespace Orim {

const char* norvEnumName(GlobalAclControl v) {
   switch (v) {
   case GlobalAclControl::globalAclNormal:
      return "globalAclNormal";
   case GlobalAclControl::globalAclBlockAll:
      return "globalAclBlockAll";
   case GlobalAclControl::globalAclBypassAll:
      return "globalAclBypassAll";
   }
   return "globalAclUnknown";
}

Norv::Ptr<PDConfig> pDConfigFactory(const Norv::Name& name) {
   return new PDConfig(name);
}

} // namespace Orim
