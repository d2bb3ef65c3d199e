#pragma once

#include "xdk/xpPlBase.h"

// The platform layer of the interface tables.
class xpIfPl : public xpPlBase {
public:
   static xpIfPl* instance();

private:
   xpIfPl() : xpPlBase("if") {}
};
