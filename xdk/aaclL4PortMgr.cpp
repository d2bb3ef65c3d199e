#include "xdk/aaclL4PortMgr.h"

#include <memory>

#include "xdk/xpAclPl.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   for (size_t instance : {aaclL4PortMgr::kSrcInstance, aaclL4PortMgr::kDstInstance}) {
      xpAclPl::instance()->addMgr(xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(instance),
                                  std::make_unique<aaclL4PortMgr>());
   }
});

} // namespace
