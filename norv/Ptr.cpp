#include "norv/Ptr.h"

namespace Norv {

bool enableThreadSafePointers = false;

void throwNullValidPtr() {
   throw RangeError("null ValidPtr");
}

} // namespace Norv
