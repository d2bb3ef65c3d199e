#include "xdk/xpSdk.h"

#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPlatformLayers.h"

unsigned xpSdkGenerationCount = 0;

void xpSdkReset() {
   ++xpSdkGenerationCount;
   xpDeviceMgr::instance()->reset();
   for (xpPlBase* layer : xpPlatformLayers())
      layer->reset();
   xpLogMgr::instance()->clear();
}
