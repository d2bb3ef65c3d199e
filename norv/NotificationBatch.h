#pragma once

#include <cstddef>

#include "norv/Export.h"

namespace Norv {

// Defers the notifications of every change made while it is open and delivers them when the
// outermost batch closes: one per (entity, attribute, key), in the order of each key's last
// change. This is how an upper layer publishing many changes at once looks to a reactor.
class NORV_EXPORT NotificationBatch {
public:
   NotificationBatch();
   ~NotificationBatch() noexcept(false);
   NotificationBatch(const NotificationBatch&) = delete;
   NotificationBatch& operator=(const NotificationBatch&) = delete;

   // Number of notifications waiting in the open batch.
   static std::size_t pending();
};

} // namespace Norv
