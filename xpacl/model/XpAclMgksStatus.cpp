#include "xpacl/model/XpAclMgksStatus.h"

namespace XpAcl {

const char* norvEnumName(MgksEntryAllocStatus s) {
   switch (s) {
   case MgksEntryAllocStatus::mgksEntryAllocUnknown:
      return "mgksEntryAllocUnknown";
   case MgksEntryAllocStatus::mgksEntryAllocOk:
      return "mgksEntryAllocOk";
   case MgksEntryAllocStatus::mgksEntryAllocFailure:
      return "mgksEntryAllocFailure";
   }
   return "MgksEntryAllocStatus(?)";
}

Norv::Ptr<MgksStatus> mgksStatusFactory(const Norv::Name& name) {
   return new MgksStatus(name);
}

} // namespace XpAcl
