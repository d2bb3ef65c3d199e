#pragma once

#include <compare>
#include <cstddef>
#include <limits>
#include <string>

#include "norv/Errors.h"
#include "norv/Text.h"

namespace Norv {

// An integer that refuses values outside [Min, Max] with a range error whose text names the
// bound; `Tag::rangeError` holds that text.
template <class Tag, class Rep, Rep Min, Rep Max, Rep Init = Min>
class RangeInt {
public:
   constexpr RangeInt() : v_(Init) {}
   explicit RangeInt(Rep v) : v_(checked(v)) {}

   Rep value() const { return v_; }
   void valueIs(Rep v) { v_ = checked(v); }

   auto operator<=>(const RangeInt&) const = default;
   bool operator==(const RangeInt&) const = default;
   size_t hash() const { return static_cast<size_t>(v_); }
   std::string text() const { return Norv::text(v_); }

   static Rep checked(Rep v) {
      bool bad = v > Max;
      if constexpr (Min > std::numeric_limits<Rep>::min()) bad = bad || v < Min;
      if (bad) throw RangeError(Tag::rangeError);
      return v;
   }

private:
   Rep v_;
};

} // namespace Norv
