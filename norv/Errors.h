#pragma once

#include <stdexcept>
#include <string>

namespace Norv {

// A value out of its allowed range, or a null where a value is required.
class RangeError : public std::range_error {
public:
   explicit RangeError(const std::string& what) : std::range_error(what) {}
};

// A nested object asked to exist again under its key with other constructor attributes.
class NameInUseError : public std::runtime_error {
public:
   explicit NameInUseError(const std::string& what) : std::runtime_error(what) {}
};

} // namespace Norv
