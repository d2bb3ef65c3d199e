// What a hosting agent calls, by address: this file links only if the library exports every
// function listed. A function added to the host's API gets its line here.
#include <cstddef>
#include <tuple>

#include "norv/Clock.h"
#include "norv/NotificationBatch.h"
#include "platform/OrimBinding.h"
#include "platform/OrimDataFlow.h"
#include "platform/OrimXform.h"
#include "platform/Quill.h"
#include "platform/XpSystem.h"
#include "platform/XpVif.h"
#include "platform/XpXdk.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpSdkInit.h"
#include "xdk/xpStatus.h"
#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/agent/XpAclCorvoOrimAclHelper.h"
#include "xpacl/hwaclid/XpAclHwAclIdSm.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"
#include "xpacl/maskgroup/XpAclMgTableSm.h"
#include "xpacl/maskgroup/XpAclMgksConfigSm.h"
#include "xpacl/maskgroup/XpAclOrimPDInfo.h"
#include "xpacl/model/XpAaclDefaultProfileStageInfo.h"
#include "xpacl/model/XpAclOrimTypes.h"
#include "xpacl/model/XpAclProfileStageInfo.h"
#include "xpacl/stage/XpAclLdeSeProfileMgrSm.h"
#include "xpacl/stage/XpAclOrimStageMgrSm.h"
#include "xpacl/xform/XpAclL4PortXformSm.h"
#include "xpacl/xform/XpAclPrefixXformChipInfo.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

// A variable of this program, not a constant: it is emitted with every address in it, so the
// linker must find each function.
auto hostApi = std::make_tuple(
    // The chip SDK's bring-up.
    &xpSdkInit, &xpDeviceMgr::instance, &xpDeviceMgr::addDevice, &xpDeviceMgr::removeDevice,
    &xpStatusName,
    // The framework: batches and the clock.
    &Norv::ActivityManager::instance, &Norv::ActivityManager::advanceTo,
    &Norv::ActivityManager::runFor, &Norv::NotificationBatch::pending,
    // The platform types' factories.
    &XpXdk::xpDeviceIdCollFactory, &XpSystem::systemStatusFactory, &Orim::resourceStatusFactory,
    &Orim::portRangeConfigFactory, &Orim::ipGenPrefixConfigFactory, &Quill::bitmapFactory,
    &Orim::dataFlowConfigFactory, &Orim::pDConfigFactory, &XpVif::portVlanVifStatusFactory,
    &XpVif::portVifStatusFactory,
    // The driver's top-level objects and the entities handed to them.
    &XpAcl::xpAclCommonSmDataFactory, &XpAcl::corvoOrimAclHelperFactory,
    &XpAcl::CorvoOrimAclHelper::hwInit, &XpAcl::aaclProfileStageInfoFactory,
    &XpAcl::aaclDefaultProfileStageInfoFactory, &XpAcl::aaclStageStatusFactory,
    &XpAcl::aaclSeProfileConfigFactory, &XpAcl::aaclSeProfileStatusFactory,
    &XpAcl::aaclBlockedIntfCollFactory, &XpAcl::aaclBlockedVlanCollFactory,
    &XpAcl::aaclStageMgrSmFactory, &XpAcl::aaclLdeSeProfileMgrSmFactory,
    &XpAcl::l4PortXformSmFactory, &XpAcl::L4PortXformSm::doShowTblEntries,
    &XpAcl::prefixXformChipInfoFactory, &XpAcl::prefixXformSmFactory,
    &XpAcl::PrefixXformSm::doShowTblEntries, &XpAcl::mgTableHelperFactory,
    &XpAcl::MgTableHelper::doUpdateAclCounters, &XpAcl::MgTableHelper::getDeltaCounter,
    &XpAcl::MgTableHelper::isCounterAttached, &XpAcl::MgTableHelper::doShowTblEntries,
    &XpAcl::mgTableSmFactory, &XpAcl::xp80PDHashingFunctionFactory, &XpAcl::xp80PDInfoFactory,
    &XpAcl::Xp80PDHashingFunction::getHash, &XpAcl::hwAclIdSmFactory, &XpAcl::mgksStatusFactory,
    &XpAcl::mgksConfigSmFactory, &XpAcl::MgksConfigChipSm::doShowTblEntries);

size_t hostApiSize() {
   return std::tuple_size_v<decltype(hostApi)>;
}
