#include "xdk/xpSdkInit.h"

#include <vector>

#include "xdk/xpSdk.h"

namespace {
std::vector<xpMgrInstaller>& installers() {
   static std::vector<xpMgrInstaller> list;
   return list;
}
} // namespace

xpMgrRegistration::xpMgrRegistration(xpMgrInstaller installer) {
   installers().push_back(installer);
}

void xpSdkInit() {
   xpSdkReset();
   for (auto install : installers())
      install();
}
