#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "norv/Errors.h"

namespace Norv {

// The bookkeeping of a LinkStack: the sequence number the next push takes, and the one of the
// top member (meaningful while the stack is not empty).
struct LinkStackMetadata {
   uint32_t nextSeq = 0;
   uint32_t topSeq = 0;
   bool operator==(const LinkStackMetadata&) const = default;
};

// A last-in first-out stack whose members are numbered by a running sequence: each push takes
// the next number, so the sequence space is used up by pushes, never given back. A push links
// the new member in front of the top, a pop unlinks and returns the top; popping an empty stack
// returns T{}. Members are found by their number.
//
// A member's number is larger than that of every member below it, so the members kept in a
// vector in stack order are also in number order: push and pop are the vector's own, and a
// lookup is a binary search.
template <class T>
class LinkStack {
public:
   explicit LinkStack(uint32_t seqLimit = std::numeric_limits<uint32_t>::max())
       : seqLimit_(seqLimit) {}

   void push(const T& v) {
      if (nextSeq_ >= seqLimit_) throw RangeError("linkstack index space full");
      members_.push_back(Member{nextSeq_++, v});
   }
   T pop() {
      if (members_.empty()) return T{};
      T v = members_.back().value;
      members_.pop_back();
      return v;
   }
   bool empty() const { return members_.empty(); }
   size_t size() const { return members_.size(); }
   void clear() { members_.clear(); }

   // The member numbered `seq`, T{} if it was popped; a number not handed out yet is out of
   // range.
   T at(uint32_t seq) const {
      if (seq >= nextSeq_) throw RangeError("linkstack index out of range");
      auto it = std::lower_bound(members_.begin(), members_.end(), seq,
                                 [](const Member& m, uint32_t s) { return m.seq < s; });
      return it != members_.end() && it->seq == seq ? it->value : T{};
   }

   LinkStackMetadata metadata() const {
      return LinkStackMetadata{nextSeq_, members_.empty() ? 0 : members_.back().seq};
   }

   // Top first.
   template <class F>
   void forEach(F&& f) const {
      for (auto it = members_.rbegin(); it != members_.rend(); ++it)
         f(it->seq, it->value);
   }

private:
   struct Member {
      uint32_t seq;
      T value;
   };
   uint32_t seqLimit_;
   uint32_t nextSeq_ = 0;
   std::vector<Member> members_;
};

} // namespace Norv
