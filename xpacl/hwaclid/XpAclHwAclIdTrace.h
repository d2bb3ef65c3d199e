#pragma once

// The one trace handle of the hardware ACL ID reactors, shared by the files they are split
// into.
#include "norv/Trace.h"

namespace XpAcl {
extern ::Norv::TraceHandle norvTraceHandle_;
} // namespace XpAcl
