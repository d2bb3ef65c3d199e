#include "platform/OrimDataFlow.h"

#include <cstdio>
#include <cstring>

#include "norv/Errors.h"

namespace Orim {

AclId AclId::fromText(const std::string& text) {
   unsigned id = 0;
   char dir[4] = {};
   int used = 0;
   const int n = std::sscanf(
       text.c_str(), "Value('Orim::AclId', ** {'chipRuleListId': %u, 'direction': %3[a-z]})%n",
       &id, dir, &used);
   const AclId aclId(ChipRuleListId(id), std::strcmp(dir, "in") == 0 ? Acl::AclDirection::in
                                                                     : Acl::AclDirection::out);
   // Written back, it must read exactly as given: that rules out blanks, signs and overflow.
   if (n != 2 || used != static_cast<int>(text.size()) || aclId.text() != text) {
      throw Norv::RangeError("not the text of an Orim::AclId: " + text);
   }
   return aclId;
}

Norv::Ptr<DataFlowConfig> dataFlowConfigFactory(const Norv::Name& name) {
   return new DataFlowConfig(name);
}

} // namespace Orim
