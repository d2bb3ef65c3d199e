#include "norv/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Norv {

void assertionFailed(const char* expr, const char* file, unsigned line, const char* function) {
   std::fprintf(stderr, "%s:%u: %s: Assertion `%s' failed.\n", file, line, function, expr);
   std::fflush(stderr);
   std::abort();
}

} // namespace Norv
