#pragma once

#include "platform/CorvoOrim.h"
#include "xpacl/XpAclExport.h"

namespace XpAcl {

// The driver's entry towards the agent's ACL layer: declares what this chip's ACLs can do.
class CorvoOrimAclHelper : public CorvoOrim::AclHelper {
public:
   NORV_ENTITY("XpAcl::CorvoOrimAclHelper")
   using CorvoOrim::AclHelper::AclHelper;
   XPACL_EXPORT void hwInit() override;
};

XPACL_EXPORT Norv::Ptr<CorvoOrimAclHelper>
corvoOrimAclHelperFactory(Norv::Ptr<CorvoOrim::CorvoOrimAclColl> corvoOrimAclColl,
                          Norv::Ptr<CorvoOrim::GlueConfig> glueConfig,
                          Norv::Ptr<const CorvoOrim::GlueStatus> glueStatus,
                          Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl,
                          Norv::Ptr<const CorvoOrim::Index> index);

} // namespace XpAcl
