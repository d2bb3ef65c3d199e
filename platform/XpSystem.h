#pragma once

#include "norv/Attributes.h"
#include "norv/Export.h"

namespace XpSystem {

// The chip-support layer's view of the system as a whole.
class SystemStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpSystem::SystemStatus")
   class NotifieeConst : public Norv::NotifieeOf<SystemStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(SystemReady)
      NORV_ON(NumTableCopies)
   };
   explicit SystemStatus(const Norv::Name& name) : name_(name) { numTableCopies_ = 1; }
   const Norv::Name& name() const { return name_; }
   NORV_SCALAR(systemReady, SystemReady, bool)
   // How many copies of each replicated table the chips keep (one per pipeline).
   NORV_SCALAR(numTableCopies, NumTableCopies, uint32_t)

private:
   Norv::Name name_;
};

NORV_EXPORT Norv::Ptr<SystemStatus> systemStatusFactory(const Norv::Name& name);

} // namespace XpSystem
