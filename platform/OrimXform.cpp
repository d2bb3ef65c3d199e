#include "platform/OrimXform.h"

namespace Orim {

Norv::Ptr<ResourceStatus> resourceStatusFactory(const Norv::Name& name) {
   return new ResourceStatus(name);
}

Norv::Ptr<PortRangeConfig> portRangeConfigFactory(const Norv::Name& name) {
   return new PortRangeConfig(name);
}

Norv::Ptr<IpGenPrefixConfig> ipGenPrefixConfigFactory(const Norv::Name& name) {
   return new IpGenPrefixConfig(name);
}

} // namespace Orim
