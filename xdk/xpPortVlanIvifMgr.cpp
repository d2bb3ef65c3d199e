#include "xdk/xpPortVlanIvifMgr.h"
#include "xdk/xpEgressBdEvifMgr.h"

#include <memory>

#include "xdk/xpIfPl.h"
#include "xdk/xpSdkInit.h"

// The two VIF tables of the interface layer.
namespace {

const xpMgrRegistration reg([] {
   auto ivif = std::make_unique<xpPortVlanIvifMgr>();
   ivif->tableNameIs("xpPortVlanIvifMgr");
   xpIfPl::instance()->addMgr(xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0), std::move(ivif));
   auto evif = std::make_unique<xpEgressBdEvifMgr>();
   evif->tableNameIs("xpEgressBdEvifMgr");
   xpIfPl::instance()->addMgr(xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0), std::move(evif));
});

} // namespace
