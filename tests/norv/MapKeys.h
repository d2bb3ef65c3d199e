#pragma once

#include <type_traits>
#include <vector>

namespace NorvTest {

// A map's keys in the order a walk visits them.
template <class M>
auto keysOf(const M& m) {
   std::vector<std::remove_cvref_t<decltype(m.begin().key())>> keys;
   for (auto&& [k, v] : m)
      keys.push_back(k);
   return keys;
}

} // namespace NorvTest
