#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>

#include "norv/Text.h"

namespace Platform {

// An identifier that wraps one number: equality, ordering, hash (the number itself, so hashed
// collections keep the framework's bit-reversed order of the number) and the number as its
// textual form.
template <class Tag, class Rep>
class IdValue {
public:
   using RepType = Rep;
   constexpr IdValue() = default;
   constexpr explicit IdValue(Rep v) : v_(v) {}

   constexpr Rep value() const { return v_; }
   void valueIs(Rep v) { v_ = v; }

   auto operator<=>(const IdValue&) const = default;
   bool operator==(const IdValue&) const = default;
   size_t hash() const { return static_cast<size_t>(v_); }
   std::string text() const { return Norv::text(v_); }

private:
   Rep v_ = 0;
};

} // namespace Platform
