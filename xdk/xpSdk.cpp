#include "xdk/xpSdk.h"

#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpPlatformLayers.h"

namespace {
unsigned generation = 0;
} // namespace

unsigned xpSdkGeneration() {
   return generation;
}

void xpSdkReset() {
   ++generation;
   xpDeviceMgr::instance()->reset();
   for (xpPlBase* layer : xpPlatformLayers())
      layer->reset();
   xpLogMgr::instance()->clear();
}
