#include "xpacl/sdk/XpXdkApiMacros.h"

#include <cstdio>
#include <cstring>

#include "norv/Assert.h"

namespace XpAcl {

void sdkCallFailed(int status, const char* file, int line, const char* callText,
                   const char* function) {
   const char* slash = std::strrchr(file, '/');
   std::fprintf(stderr, "%s:%d %s API ERROR %d\n", slash ? slash + 1 : file, line, callText,
                status);
   std::fflush(stderr);
   Norv::assertionFailed("!(true)", file, static_cast<unsigned>(line), function);
}

} // namespace XpAcl
