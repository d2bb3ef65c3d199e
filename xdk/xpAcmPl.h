#pragma once

#include "xdk/xpPlBase.h"

// The platform layer of the ACM tables.
class xpAcmPl : public xpPlBase {
public:
   static xpAcmPl* instance();

private:
   xpAcmPl() : xpPlBase("acm") {}
};
