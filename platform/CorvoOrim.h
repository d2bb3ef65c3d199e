#pragma once

#include "norv/Attributes.h"
#include "platform/CorvoHelper.h"
#include "platform/OrimHwCapability.h"

namespace CorvoOrim {

// The agent's objects that an ACL helper of this hardware layer is built with. The driver only
// passes them through; they carry their names.
#define CORVO_ORIM_NAMED_ENTITY(Class, QualifiedName)                                          \
   class Class : public Norv::Entity {                                                         \
   public:                                                                                     \
      NORV_ENTITY(QualifiedName)                                                               \
      explicit Class(const Norv::Name& name) : name_(name) {}                                  \
      const Norv::Name& name() const { return name_; }                                         \
                                                                                               \
   private:                                                                                    \
      Norv::Name name_;                                                                        \
   };

CORVO_ORIM_NAMED_ENTITY(CorvoOrimAclColl, "CorvoOrim::CorvoOrimAclColl")
CORVO_ORIM_NAMED_ENTITY(GlueConfig, "CorvoOrim::GlueConfig")
CORVO_ORIM_NAMED_ENTITY(GlueStatus, "CorvoOrim::GlueStatus")
CORVO_ORIM_NAMED_ENTITY(Index, "CorvoOrim::Index")

#undef CORVO_ORIM_NAMED_ENTITY

// The hardware layer's ACL helper: holds the agent's objects it was built with.
class AclHelper : public CorvoHelper::AclHelper {
public:
   NORV_ENTITY("CorvoOrim::AclHelper")
   AclHelper(Norv::Ptr<CorvoOrimAclColl> corvoOrimAclColl, Norv::Ptr<GlueConfig> glueConfig,
             Norv::Ptr<const GlueStatus> glueStatus,
             Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl, Norv::Ptr<const Index> index)
       : corvoOrimAclColl_(std::move(corvoOrimAclColl)), glueConfig_(std::move(glueConfig)),
         glueStatus_(std::move(glueStatus)), hwCapabilityColl_(std::move(hwCapabilityColl)),
         index_(std::move(index)) {}

   const Norv::Ptr<CorvoOrimAclColl>& corvoOrimAclColl() const { return corvoOrimAclColl_; }
   const Norv::Ptr<GlueConfig>& glueConfig() const { return glueConfig_; }
   const Norv::Ptr<const GlueStatus>& glueStatus() const { return glueStatus_; }
   const Norv::Ptr<Orim::HwCapabilityColl>& hwCapabilityColl() const {
      return hwCapabilityColl_;
   }
   const Norv::Ptr<const Index>& index() const { return index_; }

private:
   Norv::Ptr<CorvoOrimAclColl> corvoOrimAclColl_;
   Norv::Ptr<GlueConfig> glueConfig_;
   Norv::Ptr<const GlueStatus> glueStatus_;
   Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl_;
   Norv::Ptr<const Index> index_;
};

} // namespace CorvoOrim
