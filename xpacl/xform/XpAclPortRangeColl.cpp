#include "xpacl/xform/XpAclPortRangeColl.h"

namespace XpAcl {

Norv::Ptr<PortRangeColl> portRangeCollFactory() {
   return new PortRangeColl();
}

} // namespace XpAcl
