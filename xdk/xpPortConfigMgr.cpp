#include "xdk/xpPortConfigMgr.h"

#include <memory>

#include "xdk/xpIfPl.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   auto mgr = std::make_unique<xpPortConfigMgr>();
   mgr->tableNameIs("xpPortConfigMgr");
   xpIfPl::instance()->addMgr(xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0), std::move(mgr));
});

} // namespace
