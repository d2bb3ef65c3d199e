#pragma once

// Marks what a hosting agent calls: the factories of the top-level objects and of the types it
// passes to them, and the members it calls out of line (show dumps). Everything else of the
// driver stays hidden inside libxpacl.so.
#include "norv/Export.h"

#define XPACL_EXPORT NORV_EXPORT
