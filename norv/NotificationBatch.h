#pragma once

#include <cstddef>

#include "norv/Export.h"

namespace Norv {

// Defers the notifications of every change made while it is open and delivers them when the
// outermost batch is closed: one per (entity, attribute, key), in the order of each key's last
// change. This is how an upper layer publishing many changes at once looks to a reactor.
//
// Delivery runs handlers, and handlers may throw, so it happens only in `close()`, which lets
// the exception through. A batch destroyed while still open (an error left its scope) discards
// what it deferred: the outermost one drops every pending notification; an inner one leaves
// them to the outermost.
class NORV_EXPORT NotificationBatch {
public:
   NotificationBatch();
   ~NotificationBatch();
   NotificationBatch(const NotificationBatch&) = delete;
   NotificationBatch& operator=(const NotificationBatch&) = delete;

   // Closes the batch; the outermost delivers the pending notifications. A handler's
   // exception leaves this batch closed and the undelivered rest dropped.
   void close();
   bool open() const { return open_; }

   // Number of notifications waiting in the open batch.
   static std::size_t pending();

private:
   bool open_ = true;
};

} // namespace Norv
