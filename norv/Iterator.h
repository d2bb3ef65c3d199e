#pragma once

namespace Norv {

// The read-only iterator that collection attributes hand out: iteration in the collection's
// order, plus the membership test that assertions read naturally with.
template <class Map>
class IteratorConst {
public:
   explicit IteratorConst(const Map& m) : map_(&m), it_(m.begin()) {}
   explicit operator bool() const { return static_cast<bool>(it_); }
   IteratorConst& operator++() {
      ++it_;
      return *this;
   }
   const auto& key() const { return it_.key(); }
   const auto& value() const { return it_.value(); }
   template <class K>
   bool isMemberOf(const K& k) const {
      return map_->contains(k);
   }

private:
   const Map* map_;
   typename Map::ConstIterator it_;
};

} // namespace Norv
