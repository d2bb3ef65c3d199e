#pragma once

#include "norv/Attributes.h"
#include "platform/Orim.h"
#include "platform/Quill.h"
#include "xpacl/XpAclExport.h"

namespace XpAcl {

// The index bitmap of each chip's IP transform table. It outlives the per-chip reactors, so a
// chip's reactor that comes back finds the indexes as they were; the IPv4 and IPv6 reactors of
// one direction share it, as they share the table.
class PrefixXformChipInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::PrefixXformChipInfo")
   class NotifieeConst : public Norv::NotifieeOf<PrefixXformChipInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(HwTableBitMap, Orim::ChipId)
   };
   NORV_VALUE_COLL(hwTableBitMap, HwTableBitMap, Orim::ChipId, Norv::Ptr<Quill::Bitmap>,
                   Norv::HashMap)
};

XPACL_EXPORT Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfoFactory();

} // namespace XpAcl
