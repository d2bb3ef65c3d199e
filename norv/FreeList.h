#pragma once

#include <cstddef>
#include <new>

namespace Norv {

// Class-level allocation from a free list, for small entities that come and go by the
// thousand on the notification thread (status members created and dropped with their keys).
// A freed block is kept for the next object of the class instead of going back to the heap.
// Single-threaded, as everything on the notification thread; derived classes of another size
// fall back to the heap. Under the address sanitizer every block goes back to the heap, so
// that a use after free is still caught.
template <class T>
class FreeListAllocated {
public:
#if defined(__SANITIZE_ADDRESS__)
   static constexpr bool kPooled = false;
#else
   static constexpr bool kPooled = true;
#endif
   static void* operator new(std::size_t size) {
      if (kPooled && size == sizeof(T) && head_) {
         Block* b = head_;
         head_ = b->next;
         --free_;
         return b;
      }
      return ::operator new(size);
   }
   static void operator delete(void* p, std::size_t size) {
      if (kPooled && size == sizeof(T) && free_ < kMaxFree) {
         Block* b = static_cast<Block*>(p);
         b->next = head_;
         head_ = b;
         ++free_;
         return;
      }
      ::operator delete(p);
   }

   // Blocks kept for reuse.
   static std::size_t freeCount() {
      return free_;
   }

private:
   struct Block {
      Block* next;
   };
   static_assert(sizeof(Block) <= sizeof(std::max_align_t));
   // Enough for the members of a large table to be dropped and created again.
   static constexpr std::size_t kMaxFree = 1 << 16;
   static inline Block* head_ = nullptr;
   static inline std::size_t free_ = 0;
};

} // namespace Norv
