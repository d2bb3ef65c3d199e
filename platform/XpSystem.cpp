#include "platform/XpSystem.h"

namespace XpSystem {

Norv::Ptr<SystemStatus> systemStatusFactory(const Norv::Name& name) {
   return new SystemStatus(name);
}

} // namespace XpSystem
