#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

// The framework's textual form of a value, used by printing, by messages and by the trace.
// A type takes part by offering a member `std::string text() const`; enumerations by a free
// function `const char* norvEnumName(E)` found by argument-dependent lookup.
namespace Norv {

template <class T>
concept HasText = requires(const T& v) {
   { v.text() } -> std::convertible_to<std::string>;
};

template <class E>
concept HasEnumName = std::is_enum_v<E> && requires(E e) {
   { norvEnumName(e) } -> std::convertible_to<const char*>;
};

template <class T>
std::string text(const T& v) {
   if constexpr (std::is_same_v<T, bool>) {
      return v ? "true" : "false";
   } else if constexpr (std::is_integral_v<T>) {
      if constexpr (std::is_signed_v<T>) {
         return std::to_string(static_cast<long long>(v));
      } else {
         return std::to_string(static_cast<unsigned long long>(v));
      }
   } else if constexpr (std::is_floating_point_v<T>) {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%g", static_cast<double>(v));
      return buf;
   } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
      return std::string(std::string_view(v));
   } else if constexpr (HasEnumName<T>) {
      return norvEnumName(v);
   } else if constexpr (std::is_enum_v<T>) {
      return std::to_string(static_cast<long long>(v));
   } else if constexpr (HasText<T>) {
      return v.text();
   } else {
      // Keyed collections print as a brace-enclosed list of key: value, in their order.
      static_assert(
          requires { v.begin().key(); }, "type has no textual form");
      std::string out = "{";
      for (auto it = v.begin(); it; ++it) {
         if (out.size() > 1) out += ", ";
         out += text(it.key());
         out += ": ";
         out += text(it.value());
      }
      return out + "}";
   }
}

} // namespace Norv
