#pragma once

#include "norv/Assert.h"
#include "xdk/xpStatus.h"

// The driver's only way into the SDK. A call either succeeds or stops the driver where it was
// made: an SDK table left half-written is not something the driver can recover from.
//
//    XP_SDK_CALL(call)    accepts XP_NO_ERR, XP_ERR_KEY_EXISTS and XP_ERR_NO_CHANGE;
//    XP_SDK_LOOKUP(call)  also accepts XP_ERR_KEY_NOT_FOUND, for calls that ask whether a key
//    is
//                         there.
//
// Both evaluate the call once and yield its status. Any other status prints
// "file:line ((call)) API ERROR status" and fails an assertion naming the calling function.

namespace XpAcl {

// Records the status on this thread for sdkCallStatus(); prints the error line and returns
// false if the status is not accepted.
bool sdkCallAccepted(int status, bool lookup, const char* file, int line, const char* callText);

// The status last recorded by sdkCallAccepted on this thread.
XP_STATUS sdkCallStatus();

} // namespace XpAcl

// One expression, so that it yields the status; the assertion sits in the macro so that it
// names the call site's function. The status reaches the macro's value through
// sdkCallStatus() because a standard expression has no place to keep it.
#define XP_SDK_CHECKED_CALL_(call, callText, lookup)                                           \
   (::XpAcl::sdkCallAccepted((call), (lookup), __FILE__, __LINE__, callText)                   \
        ? ::XpAcl::sdkCallStatus()                                                             \
        : (NORV_ASSERT(!(true)), ::XpAcl::sdkCallStatus()))

// The text is taken here, before the call's own macros are expanded.
#define XP_SDK_CALL(call) XP_SDK_CHECKED_CALL_(call, "((" #call "))", false)
#define XP_SDK_LOOKUP(call) XP_SDK_CHECKED_CALL_(call, "((" #call "))", true)
