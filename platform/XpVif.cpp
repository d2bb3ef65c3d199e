#include "platform/XpVif.h"

namespace XpVif {

Norv::Ptr<PortVlanVifStatus> portVlanVifStatusFactory(const Norv::Name& name) {
   return new PortVlanVifStatus(name);
}

Norv::Ptr<PortVifStatus> portVifStatusFactory(const Norv::Name& name) {
   return new PortVifStatus(name);
}

} // namespace XpVif
