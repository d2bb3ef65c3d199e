#pragma once

#include "xdk/xpPlBase.h"

// The platform layer of the ACL tables.
class xpAclPl : public xpPlBase {
public:
   static xpAclPl* instance();

private:
   xpAclPl() : xpPlBase("acl") {}
};
