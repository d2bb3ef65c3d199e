#include "xdk/xpSdk.h"

#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPlatformLayers.h"

void xpSdkReset() {
   xpDeviceMgr::instance()->reset();
   for (xpPlBase* layer : xpPlatformLayers())
      layer->reset();
   xpLogMgr::instance()->clear();
}
