#include "norv/MemberColl.h"

namespace Norv {

void throwReinstantiation(const char* attr, const std::string& given,
                          const std::string& current) {
   throw NameInUseError(
       std::string("Reinstantiating the pointer interface where constructor parameter "
                   "attribute ") +
       attr + " has a different value of " + given + " than the current value of " + current +
       " not allowed");
}

} // namespace Norv
