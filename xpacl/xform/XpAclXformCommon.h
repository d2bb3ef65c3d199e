#pragma once

#include <vector>

#include "platform/XpXdk.h"

// What the transform reactors share: they keep one nested reactor per chip member of their
// configuration.
namespace XpAcl {

// Calls handle(chipId) for every chip that has a nested reactor in `held` or a member in
// `configured` (which may be null), each once: the walk that reconciles the two.
template <class Held, class Configured, class F>
void forEachChip(const Held& held, const Configured* configured, F&& handle) {
   std::vector<Orim::ChipId> chips;
   for (auto it = held.begin(); it; ++it)
      chips.push_back(it.key());
   if (configured) {
      for (auto it = configured->begin(); it; ++it) {
         if (!held.find(it.key())) chips.push_back(it.key());
      }
   }
   for (const auto& chipId : chips)
      handle(chipId);
}

} // namespace XpAcl
