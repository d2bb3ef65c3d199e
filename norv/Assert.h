#pragma once

#include "norv/Export.h"

// An assertion that stays on in every build type: the driver's invariants guard the chip, so a
// Release build must stop exactly where a debug build would.
namespace Norv {
[[noreturn]] NORV_EXPORT void assertionFailed(const char* expr, const char* file, unsigned line,
                                              const char* function);
} // namespace Norv

#define NORV_ASSERT(expr)                                                                      \
   (static_cast<bool>(expr)                                                                    \
        ? void(0)                                                                              \
        : ::Norv::assertionFailed(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))
