#include "xpacl/agent/XpAclCorvoOrimAclHelper.h"

#include "norv/Trace.h"

NORV_TRACE_HANDLE("XpCorvoOrimAclHelper");

namespace XpAcl {

void CorvoOrimAclHelper::hwInit() {
   NORV_TRACE(8, "hwInit");
   // The mixture belongs to this chip: counters, logging, egress and IPv6 ACLs are on; DSCP,
   // traffic class and ECN as actions, TCP flags and MAC ACLs are off.
   revertIncompleteAclSupportedIs(true);
   aclBatchCommitSupportedIs(true);
   deferredOperationsSupportedIs(true);
   routerAclSupportedIs(true);
   aclDscpSupportedIs(false);
   ip6AclSupportedIs(true);
   ipEgressAclSupportedIs(true);
   routerEgressAclSupportedIs(true);
   ip6EgressAclSupportedIs(true);
   ip6RouterEgressAclSupportedIs(true);
   aclTcSupportedIs(false);
   aclLoggingSupportedIs(true);
   routerAclLoggingSupportedIs(true);
   permitDuringAclUpdateIs(true);
   dscpFilterSupportedIs(true);
   ecnFilterSupportedIs(true);
   aclEcnSupportedIs(false);
   aclCountersSupportedIs(true);
   supportedTcpFlagsIs(Acl::TcpFlag(0));
   establishedSupportedIs(true);
   macAclSupportedIs(false);
   macEgressAclSupportedIs(false);
   installImplicitIcmp6RulesIs(
       Corvo::Ip6DefaultIcmp6TypesSupported::icmp6TypesNeighborDiscovery);
   dpIp6AclFullMaskSupportedIs(true);
}

Norv::Ptr<CorvoOrimAclHelper>
corvoOrimAclHelperFactory(Norv::Ptr<CorvoOrim::CorvoOrimAclColl> corvoOrimAclColl,
                          Norv::Ptr<CorvoOrim::GlueConfig> glueConfig,
                          Norv::Ptr<const CorvoOrim::GlueStatus> glueStatus,
                          Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl,
                          Norv::Ptr<const CorvoOrim::Index> index) {
   return new CorvoOrimAclHelper(std::move(corvoOrimAclColl), std::move(glueConfig),
                                 std::move(glueStatus), std::move(hwCapabilityColl),
                                 std::move(index));
}

} // namespace XpAcl
