#pragma once

// The value types that describe how the chip's ACL lookup is laid out: which LDE serves a
// stage, with which mask-group and key-select tables, and which SE profiles it offers.
#include <cstdint>
#include <optional>
#include <string>

#include "norv/Attributes.h"
#include "norv/RangeInt.h"
#include "norv/Value.h"
#include "platform/IdValue.h"
#include "platform/Orim.h"
#include "platform/XpXdk.h"
#include "xpacl/XpAclExport.h"

namespace XpAcl {

// The source- and destination-IP prefix lengths a superkey can carry.
class XPACL_EXPORT AaclSuperkeyFields {
public:
   NORV_PLAIN_COLL(sipLen, SipLen, uint8_t, bool, Norv::HashMap)
   NORV_PLAIN_COLL(dipLen, DipLen, uint8_t, bool, Norv::HashMap)
public:
   bool operator==(const AaclSuperkeyFields&) const = default;
   std::string text() const {
      return Norv::valueText("XpAcl::AaclSuperkeyFields", Norv::field("sipLen", sipLen_),
                             Norv::field("dipLen", dipLen_));
   }
   // The sets cannot be rebuilt from their text; asking to is a broken invariant.
   static AaclSuperkeyFields fromText(const std::string& text);
};

// The SE profiles of one LDE with the superkey fields of each. Counted so that the profile
// stage info can hand out the one set an LDE has, and still a value when copied.
class AaclSeProfileSet : public Norv::RefCounted {
public:
   NORV_PLAIN_COLL(aaclSuperkeyFields, AaclSuperkeyFields, XpXdk::XpSeProfileId,
                   AaclSuperkeyFields, Norv::HashMap)
public:
   bool operator==(const AaclSeProfileSet& o) const {
      return aaclSuperkeyFields_ == o.aaclSuperkeyFields_;
   }
   std::string text() const {
      return Norv::valueText("XpAcl::AaclSeProfileSet",
                             Norv::field("aaclSuperkeyFields", aaclSuperkeyFields_));
   }
   static const Norv::Type& norvStaticType() {
      static constexpr Norv::Type t("XpAcl::AaclSeProfileSet");
      return t;
   }
   const Norv::Type& fwkType() const { return norvStaticType(); }
};

XPACL_EXPORT Norv::Ptr<AaclSeProfileSet> aaclSeProfileSetFactory();

struct AaclMgTableIdTag {};
// The chip SDK's id of a mask-group table.
using AaclMgTableId = Platform::IdValue<AaclMgTableIdTag, uint8_t>;

struct AaclMgksTableIdTag {
   static constexpr const char* rangeError =
       "AaclMgksTableId::value < 0 or > AaclMgksTableId::invalid not allowed";
};
// The chip SDK's id of a mask-group key-select table; `invalid` stands for no table.
class AaclMgksTableId : public Norv::RangeInt<AaclMgksTableIdTag, uint8_t, 0, 7, 7> {
public:
   static constexpr uint8_t invalid = 7;
   using RangeInt::RangeInt;
};

// How one stage is looked up: its LDE, that LDE's tables and SE profiles. An LDE the profile
// stage info gives no SE-profile set still describes its stage; the set is then absent, and
// only choosing a profile at that stage is refused.
class AaclLdeMgTableLookupDesc {
public:
   AaclLdeMgTableLookupDesc() = default;
   AaclLdeMgTableLookupDesc(XpXdk::XpLdeId ldeId, AaclMgTableId mgTableId,
                            AaclMgksTableId mgksTableId,
                            const AaclSeProfileSet& ldeSeProfileSet)
       : ldeId_(ldeId), mgTableId_(mgTableId), mgksTableId_(mgksTableId),
         ldeSeProfileSet_(ldeSeProfileSet) {}
   AaclLdeMgTableLookupDesc(XpXdk::XpLdeId ldeId, AaclMgTableId mgTableId,
                            AaclMgksTableId mgksTableId,
                            const AaclSeProfileSet* ldeSeProfileSet)
       : ldeId_(ldeId), mgTableId_(mgTableId), mgksTableId_(mgksTableId) {
      if (ldeSeProfileSet) ldeSeProfileSet_ = *ldeSeProfileSet;
   }

   XpXdk::XpLdeId ldeId() const { return ldeId_; }
   AaclMgTableId mgTableId() const { return mgTableId_; }
   AaclMgksTableId mgksTableId() const { return mgksTableId_; }
   // Null when the LDE has no SE-profile set.
   const AaclSeProfileSet* ldeSeProfileSet() const {
      return ldeSeProfileSet_ ? &*ldeSeProfileSet_ : nullptr;
   }

   bool operator==(const AaclLdeMgTableLookupDesc&) const = default;
   std::string text() const {
      return Norv::valueText(
          "XpAcl::AaclLdeMgTableLookupDesc", Norv::field("ldeId", ldeId_),
          Norv::field("mgTableId", mgTableId_), Norv::field("mgksTableId", mgksTableId_),
          Norv::field("ldeSeProfileSet",
                      ldeSeProfileSet_ ? ldeSeProfileSet_->text() : std::string("null")));
   }

private:
   XpXdk::XpLdeId ldeId_;
   AaclMgTableId mgTableId_;
   AaclMgksTableId mgksTableId_;
   std::optional<AaclSeProfileSet> ldeSeProfileSet_;
};

// The outcome of choosing an SE profile for a rule list at a stage.
enum class AaclSeProfileStatusResult : uint8_t {
   seProfileUnknown = 0,
   seProfileFoundRequired = 1,
   seProfileNotApplicable = 2,
   seProfileNotAvailable = 3,
};
XPACL_EXPORT const char* norvEnumName(AaclSeProfileStatusResult r);

class OrimConstants {
public:
   // The rule list the hardware layer keeps for its built-in permit-all list.
   static inline const Orim::ChipRuleListId reservedChipRuleListIdForPermitAll{255};
   bool operator==(const OrimConstants&) const = default;
   std::string text() const { return ""; }
};

} // namespace XpAcl
