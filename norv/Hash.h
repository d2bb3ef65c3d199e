#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>

// Hashing for the framework's keyed containers. Integral and enumeration keys hash to their own
// bits so that a map of ids iterates in an order anyone can predict from the ids alone.
namespace Norv {

template <class K>
concept HasHashMember = requires(const K& k) {
   { k.hash() } -> std::convertible_to<size_t>;
};

template <class K>
struct Hash {
   size_t operator()(const K& k) const {
      if constexpr (std::is_integral_v<K> || std::is_enum_v<K>) {
         return static_cast<size_t>(k);
      } else if constexpr (HasHashMember<K>) {
         return static_cast<size_t>(k.hash());
      } else {
         return std::hash<K>{}(k);
      }
   }
};

// Mirror image of a 64-bit word: bit 0 becomes bit 63.
constexpr size_t reverseBits(size_t v) {
   static_assert(sizeof(size_t) == 8, "the hash order is defined on 64-bit words");
   v = ((v >> 1) & 0x5555555555555555ull) | ((v & 0x5555555555555555ull) << 1);
   v = ((v >> 2) & 0x3333333333333333ull) | ((v & 0x3333333333333333ull) << 2);
   v = ((v >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((v & 0x0F0F0F0F0F0F0F0Full) << 4);
   return __builtin_bswap64(v);
}

// reverseBits(a) < reverseBits(b), without reversing: the lowest bit where a and b differ is
// the most significant one after reversal, so whichever has it set is the larger.
constexpr bool reversedLess(size_t a, size_t b) {
   const size_t diff = a ^ b;
   return (b & diff & (~diff + 1)) != 0;
}

} // namespace Norv
