#pragma once

// The keys a reactor's key-less handler walks.
#include <type_traits>
#include <vector>

namespace XpAcl {

// The keys of an input collection and those of an output one that the input lacks: every key
// a key-less handler must visit. Collected first because the handlers change both.
template <class In, class Out>
auto keysToVisit(const In& in, const Out& out) {
   std::vector<std::remove_cvref_t<decltype(in.begin().key())>> keys;
   for (auto it = in.begin(); it; ++it)
      keys.push_back(it.key());
   for (auto it = out.begin(); it; ++it) {
      if (!in.contains(it.key())) keys.push_back(it.key());
   }
   return keys;
}

} // namespace XpAcl
