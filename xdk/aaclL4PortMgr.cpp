#include "xdk/aaclL4PortMgr.h"

#include <memory>

#include "xdk/xpAclPl.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   for (size_t instance : {aaclL4PortMgr::kSrcInstance, aaclL4PortMgr::kDstInstance}) {
      auto mgr = std::make_unique<aaclL4PortMgr>();
      mgr->tableNameIs(instance == aaclL4PortMgr::kSrcInstance ? "aaclL4PortMgr.src"
                                                               : "aaclL4PortMgr.dst");
      xpAclPl::instance()->addMgr(xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(instance),
                                  std::move(mgr));
   }
});

} // namespace
