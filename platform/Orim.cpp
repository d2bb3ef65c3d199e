#include "platform/Orim.h"

namespace Orim {

const char* norvEnumName(AclDirection d) {
   return d == AclDirection::in ? "in" : "out";
}

} // namespace Orim
