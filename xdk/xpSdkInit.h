#pragma once

#include "xdk/xpExport.h"

// Bring-up of the SDK model: every table manager registers an installer at load time, and
// xpSdkInit() starts from a clean model and runs them all, so each platform layer holds every
// manager under its primitive id before the driver looks them up.
using xpMgrInstaller = void (*)();

struct xpMgrRegistration {
   explicit xpMgrRegistration(xpMgrInstaller installer);
};

XP_EXPORT void xpSdkInit();
