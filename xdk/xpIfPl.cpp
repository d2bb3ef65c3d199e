#include "xdk/xpIfPl.h"

xpIfPl* xpIfPl::instance() {
   static xpIfPl pl;
   return &pl;
}
