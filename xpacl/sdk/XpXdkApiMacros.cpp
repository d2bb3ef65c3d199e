#include "xpacl/sdk/XpXdkApiMacros.h"

#include <cstdio>
#include <cstring>

namespace XpAcl {

namespace {

thread_local XP_STATUS lastStatus = XP_NO_ERR;

bool accepted(int status, bool lookup) {
   switch (status) {
   case XP_NO_ERR:
   case XP_ERR_KEY_EXISTS:
   case XP_ERR_NO_CHANGE:
      return true;
   case XP_ERR_KEY_NOT_FOUND:
      return lookup;
   default:
      return false;
   }
}

} // namespace

bool sdkCallAccepted(int status, bool lookup, const char* file, int line,
                     const char* callText) {
   lastStatus = static_cast<XP_STATUS>(status);
   if (accepted(status, lookup)) return true;
   const char* slash = std::strrchr(file, '/');
   std::fprintf(stderr, "%s:%d %s API ERROR %d\n", slash ? slash + 1 : file, line, callText,
                status);
   std::fflush(stderr);
   return false;
}

XP_STATUS sdkCallStatus() {
   return lastStatus;
}

} // namespace XpAcl
