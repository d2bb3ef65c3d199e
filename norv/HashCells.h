#pragma once

#include "norv/Hash.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Norv {

// Where a HashMap keeps its members: in memory laid out in the map's iteration order, so that a
// walk reads memory front to back rather than in the scattered order of the keys' bits.
//
// Each time the map's table grows it opens a block of cells, a power-of-two count of them. A
// member inserted afterwards goes to the cell of the newest block that the top bits of its
// mirrored hash select, or to the heap when that cell is taken. Within a block, cells are
// therefore in iteration order, and a walk reads each block front to back: a few sequential
// streams in all, which the hardware prefetches. Keys that come in sequence (ports, ids) all
// get a cell; random keys mostly do.
//
// Members never move: a full cell sends the new member to the heap instead. A block is freed
// once its last member is gone, unless it is the newest.
//
// Node must have a `uint8_t cellBlock` member, set here.
template <class Node>
class HashCells {
public:
   static constexpr uint8_t kHeap = 0xff;

   HashCells() = default;
   HashCells(const HashCells&) = delete;
   HashCells& operator=(const HashCells&) = delete;
   ~HashCells() {
      for (Block& b : blocks_)
         release(b);
   }

   void swap(HashCells& o) noexcept { blocks_.swap(o.blocks_); }

   // Members inserted from now on go to a new block of `count` cells (a power of two).
   void open(size_t count) {
      Block b;
      b.count = count;
      b.shift = 64 - static_cast<unsigned>(__builtin_ctzll(count));
      b.cells = std::allocator<Node>{}.allocate(count);
      try {
         b.used = new uint64_t[words(count)]();
         blocks_.reserve(blocks_.size() + 1);
      } catch (...) {
         release(b);
         throw;
      }
      blocks_.push_back(b);
   }

   // A member with hash h, built from args: in its cell of the newest block if that is free.
   template <class... A>
   Node* make(size_t h, A&&... args) {
      if (!blocks_.empty() && blocks_.size() - 1 < kHeap) {
         Block& b = blocks_.back();
         const size_t i = reverseBits(h) >> b.shift;
         uint64_t& word = b.used[i / 64];
         const uint64_t bit = uint64_t{1} << (i % 64);
         if (!(word & bit)) {
            Node* n = ::new (static_cast<void*>(b.cells + i)) Node(std::forward<A>(args)...);
            word |= bit;
            ++b.live;
            n->cellBlock = static_cast<uint8_t>(blocks_.size() - 1);
            return n;
         }
      }
      Node* n = new Node(std::forward<A>(args)...);
      n->cellBlock = kHeap;
      return n;
   }

   static bool inCell(const Node* n) { return n->cellBlock != kHeap; }

   void destroy(Node* n) {
      if (!inCell(n)) {
         delete n;
         return;
      }
      const size_t k = n->cellBlock;
      Block& b = blocks_[k];
      const size_t i = static_cast<size_t>(n - b.cells);
      n->~Node();
      b.used[i / 64] &= ~(uint64_t{1} << (i % 64));
      if (--b.live == 0 && k + 1 != blocks_.size()) release(b);
   }

   // Once every member is gone: one empty block of at least `count` cells stays, so that a
   // table refilled to its size finds its members a cell again. The newest block is kept if
   // it is large enough, which makes emptying a small map cheap.
   void restart(size_t count) {
      if (!blocks_.empty() && blocks_.back().count >= count) {
         Block newest = blocks_.back();
         blocks_.pop_back();
         for (Block& b : blocks_)
            release(b);
         blocks_.clear();
         std::memset(newest.used, 0, words(newest.count) * sizeof(uint64_t));
         newest.live = 0;
         blocks_.push_back(newest);
         return;
      }
      for (Block& b : blocks_)
         release(b);
      blocks_.clear();
      open(count);
   }

private:
   struct Block {
      Node* cells = nullptr; // storage only: a cell holds a Node while its bit is set
      uint64_t* used = nullptr;
      size_t count = 0;
      unsigned shift = 64;
      size_t live = 0;
   };

   static size_t words(size_t count) { return (count + 63) / 64; }

   static void release(Block& b) {
      if (b.cells) std::allocator<Node>{}.deallocate(b.cells, b.count);
      delete[] b.used;
      b = Block{};
   }

   std::vector<Block> blocks_;
};

} // namespace Norv
