#pragma once

#include "norv/Attributes.h"
#include "platform/Acl.h"
#include "platform/Corvo.h"

namespace CorvoHelper {

// The forwarding agent's generic ACL helper: the capabilities that a chip's ACL implementation
// declares at hardware initialisation, read by the agent's ACL code to decide what it accepts.
class AclHelper : public Norv::Entity {
public:
   NORV_ENTITY("CorvoHelper::AclHelper")
   class NotifieeConst : public Norv::NotifieeOf<AclHelper> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(RevertIncompleteAclSupported)
      NORV_ON(AclBatchCommitSupported)
      NORV_ON(DeferredOperationsSupported)
      NORV_ON(RouterAclSupported)
      NORV_ON(AclDscpSupported)
      NORV_ON(Ip6AclSupported)
      NORV_ON(IpEgressAclSupported)
      NORV_ON(RouterEgressAclSupported)
      NORV_ON(Ip6EgressAclSupported)
      NORV_ON(Ip6RouterEgressAclSupported)
      NORV_ON(AclTcSupported)
      NORV_ON(AclLoggingSupported)
      NORV_ON(RouterAclLoggingSupported)
      NORV_ON(PermitDuringAclUpdate)
      NORV_ON(DscpFilterSupported)
      NORV_ON(EcnFilterSupported)
      NORV_ON(AclEcnSupported)
      NORV_ON(AclCountersSupported)
      NORV_ON(SupportedTcpFlags)
      NORV_ON(EstablishedSupported)
      NORV_ON(MacAclSupported)
      NORV_ON(MacEgressAclSupported)
      NORV_ON(InstallImplicitIcmp6Rules)
      NORV_ON(DpIp6AclFullMaskSupported)
   };

   virtual void hwInit() {}

   // Notifications the agent sends to its helper; the base ignores them.
   virtual void onDirtyAcl() {}
   virtual void onNeedsDeferredUpdate() {}
   virtual void onCliWaiting() {}
   virtual void onAclHelperCallbackData() {}
   virtual void onAclIntfBlockedStatus() {}

   NORV_SCALAR(revertIncompleteAclSupported, RevertIncompleteAclSupported, bool)
   NORV_SCALAR(aclBatchCommitSupported, AclBatchCommitSupported, bool)
   NORV_SCALAR(deferredOperationsSupported, DeferredOperationsSupported, bool)
   NORV_SCALAR(routerAclSupported, RouterAclSupported, bool)
   NORV_SCALAR(aclDscpSupported, AclDscpSupported, bool)
   NORV_SCALAR(ip6AclSupported, Ip6AclSupported, bool)
   NORV_SCALAR(ipEgressAclSupported, IpEgressAclSupported, bool)
   NORV_SCALAR(routerEgressAclSupported, RouterEgressAclSupported, bool)
   NORV_SCALAR(ip6EgressAclSupported, Ip6EgressAclSupported, bool)
   NORV_SCALAR(ip6RouterEgressAclSupported, Ip6RouterEgressAclSupported, bool)
   NORV_SCALAR(aclTcSupported, AclTcSupported, bool)
   NORV_SCALAR(aclLoggingSupported, AclLoggingSupported, bool)
   NORV_SCALAR(routerAclLoggingSupported, RouterAclLoggingSupported, bool)
   NORV_SCALAR(permitDuringAclUpdate, PermitDuringAclUpdate, bool)
   NORV_SCALAR(dscpFilterSupported, DscpFilterSupported, bool)
   NORV_SCALAR(ecnFilterSupported, EcnFilterSupported, bool)
   NORV_SCALAR(aclEcnSupported, AclEcnSupported, bool)
   NORV_SCALAR(aclCountersSupported, AclCountersSupported, bool)
   NORV_SCALAR(supportedTcpFlags, SupportedTcpFlags, Acl::TcpFlag)
   NORV_SCALAR(establishedSupported, EstablishedSupported, bool)
   NORV_SCALAR(macAclSupported, MacAclSupported, bool)
   NORV_SCALAR(macEgressAclSupported, MacEgressAclSupported, bool)
   NORV_SCALAR(installImplicitIcmp6Rules, InstallImplicitIcmp6Rules,
               Corvo::Ip6DefaultIcmp6TypesSupported)
   NORV_SCALAR(dpIp6AclFullMaskSupported, DpIp6AclFullMaskSupported, bool)
};

} // namespace CorvoHelper
