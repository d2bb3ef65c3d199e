#pragma once

#include "norv/Assert.h"
#include "xdk/xpStatus.h"

// The driver's only way into the SDK. A call either succeeds or stops the driver where it was
// made: an SDK table left half-written is not something the driver can recover from.
//
//    XP_SDK_CALL(call)    accepts XP_NO_ERR, XP_ERR_KEY_EXISTS and XP_ERR_NO_CHANGE;
//    XP_SDK_LOOKUP(call)  also accepts XP_ERR_KEY_NOT_FOUND, for calls that ask whether a
//                         key is there.
//
// Both evaluate the call once and yield its status. Any other status prints
// "file:line ((call)) API ERROR status" and fails an assertion naming the calling function.

namespace XpAcl {

// Prints the error line of a refused call and fails the assertion "!(true)" in the name of the
// calling function.
[[noreturn]] void sdkCallFailed(int status, const char* file, int line, const char* callText,
                                const char* function);

inline bool sdkStatusAccepted(int status, bool lookup) {
   return status == XP_NO_ERR || status == XP_ERR_KEY_EXISTS || status == XP_ERR_NO_CHANGE ||
          (lookup && status == XP_ERR_KEY_NOT_FOUND);
}

// Checked on every table access, so the accepted case stays inline.
inline XP_STATUS sdkChecked(int status, bool lookup, const char* file, int line,
                            const char* callText, const char* function) {
   if (!sdkStatusAccepted(status, lookup)) [[unlikely]]
      sdkCallFailed(status, file, line, callText, function);
   return static_cast<XP_STATUS>(status);
}

} // namespace XpAcl

// The text is taken here, before the call's own macros are expanded; the function named by the
// assertion is the call site's.
#define XP_SDK_CALL(call)                                                                      \
   ::XpAcl::sdkChecked((call), false, __FILE__, __LINE__, "((" #call "))", __PRETTY_FUNCTION__)
#define XP_SDK_LOOKUP(call)                                                                    \
   ::XpAcl::sdkChecked((call), true, __FILE__, __LINE__, "((" #call "))", __PRETTY_FUNCTION__)
