#pragma once

#include <stdexcept>
#include <string>

#include "norv/Export.h"

namespace Norv {

// A value out of its allowed range, or a null where a value is required.
class NORV_EXPORT RangeError : public std::range_error {
public:
   explicit RangeError(const std::string& what) : std::range_error(what) {}
};

// A nested object asked to exist again under its key with other constructor attributes.
class NORV_EXPORT NameInUseError : public std::runtime_error {
public:
   explicit NameInUseError(const std::string& what) : std::runtime_error(what) {}
};

// A null handed to a mutator whose attribute may not be null. The trailing double quote is part
// of the platform's message.
[[noreturn]] inline void throwNullParameter(const std::string& parameter,
                                            const std::string& attribute) {
   throw RangeError("null " + parameter + " parameter to mutator for " + attribute +
                    " not allowed\"");
}

} // namespace Norv
