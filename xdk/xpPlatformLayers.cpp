#include "xdk/xpPlatformLayers.h"

#include "xdk/xpAclPl.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpIfPl.h"

std::array<xpPlBase*, 3> xpPlatformLayers() {
   return {xpAclPl::instance(), xpAcmPl::instance(), xpIfPl::instance()};
}
