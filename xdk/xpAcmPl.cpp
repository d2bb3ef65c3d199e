#include "xdk/xpAcmPl.h"

xpAcmPl* xpAcmPl::instance() {
   static xpAcmPl pl;
   return &pl;
}
