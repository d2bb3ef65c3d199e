#pragma once

// The stages of each chip and how each is looked up, as the stage manager publishes them.
#include "platform/OrimHashStage.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclOrimValues.h"

namespace XpAcl {

class AaclStageDescriptor : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclStageDescriptor")
   class NotifieeConst : public Norv::NotifieeOf<AaclStageDescriptor> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(OrimStageDescriptor)
   };
   AaclStageDescriptor(const Orim::StageId& stageId,
                       const AaclLdeMgTableLookupDesc& ldeMgTableLookupDesc)
       : stageId_(stageId), ldeMgTableLookupDesc_(ldeMgTableLookupDesc) {}
   const Orim::StageId& stageId() const { return stageId_; }
   const AaclLdeMgTableLookupDesc& ldeMgTableLookupDesc() const {
      return ldeMgTableLookupDesc_;
   }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_ldeMgTableLookupDesc"};
   auto norvCtorAttrs() const { return std::make_tuple(ldeMgTableLookupDesc_); }

   NORV_SCALAR(orimStageDescriptor, OrimStageDescriptor, Norv::Ptr<Orim::HashStageDescriptor>)

private:
   Orim::StageId stageId_;
   AaclLdeMgTableLookupDesc ldeMgTableLookupDesc_;
};

class AaclChipStageStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclChipStageStatus")
   class NotifieeConst : public Norv::NotifieeOf<AaclChipStageStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(AaclStageDescriptor, Orim::StageId)
   };
   explicit AaclChipStageStatus(const Orim::ChipId& chipId) : chipId_(chipId) {}
   const Orim::ChipId& chipId() const { return chipId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   // Key-ordered: readers walk the stages in pipeline order.
   NORV_ENTITY_COLL(aaclStageDescriptor, AaclStageDescriptor, Orim::StageId,
                    AaclStageDescriptor, Norv::RbTreeMap)

private:
   Orim::ChipId chipId_;
};

class AaclStageStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclStageStatus")
   class NotifieeConst : public Norv::NotifieeOf<AaclStageStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(AaclChipStageStatus, Orim::ChipId)
   };
   explicit AaclStageStatus(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(aaclChipStageStatus, AaclChipStageStatus, Orim::ChipId, AaclChipStageStatus,
                    Norv::HashMap)

private:
   Norv::Name name_;
};

XPACL_EXPORT Norv::Ptr<AaclStageStatus> aaclStageStatusFactory(const Norv::Name& name);
XPACL_EXPORT Norv::Ptr<AaclChipStageStatus>
aaclChipStageStatusFactory(const Orim::ChipId& chipId);
XPACL_EXPORT Norv::Ptr<AaclStageDescriptor>
aaclStageDescriptorFactory(const Orim::StageId& stageId,
                           const AaclLdeMgTableLookupDesc& ldeMgTableLookupDesc);

} // namespace XpAcl
