#include "xdk/xpAclPl.h"

xpAclPl* xpAclPl::instance() {
   static xpAclPl pl;
   return &pl;
}
