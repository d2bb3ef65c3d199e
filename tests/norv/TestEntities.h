#pragma once

// Small entities and reactors that exercise the framework the way the driver's reactors do.
#include <string>
#include <vector>

#include "norv/Attributes.h"

namespace NorvTest {

class Leaf : public Norv::Entity {
public:
   NORV_ENTITY("NorvTest::Leaf")
   class NotifieeConst : public Norv::NotifieeOf<Leaf> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(Weight)
   };
   Leaf(uint32_t key, std::string tag) : key_(key), tag_(std::move(tag)) {}
   uint32_t key() const { return key_; }
   const std::string& tag() const { return tag_; }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_tag"};
   auto norvCtorAttrs() const { return std::make_tuple(tag_); }
   NORV_SCALAR(weight, Weight, int)

private:
   uint32_t key_;
   std::string tag_;
};

class Tree : public Norv::Entity {
public:
   NORV_ENTITY("NorvTest::Tree")
   class NotifieeConst : public Norv::NotifieeOf<Tree> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(Value, uint32_t)
      NORV_ON_KEY(Leaf, uint32_t)
      NORV_ON(Label)
   };
   NORV_VALUE_COLL(value, Value, uint32_t, int, Norv::HashMap)
   NORV_ENTITY_COLL(leaf, Leaf, uint32_t, Leaf, Norv::RbTreeMap)
   NORV_SCALAR(label, Label, std::string)
};

// Records every notification it receives, as "name(key)" strings.
class Recorder : public Norv::Reactor {
public:
   NORV_ENTITY("NorvTest::Recorder")
   class NorvTree : public Tree::NotifieeConst {
   public:
      NorvTree(Recorder* r, Norv::Ptr<const Tree> t) : NotifieeConst(r, t), r_(r) {}
      void onValue(const uint32_t& k) override { r_->log("value(" + std::to_string(k) + ")"); }
      void onValue() override { r_->log("value()"); }
      void onLeaf(const uint32_t& k) override { r_->log("leaf(" + std::to_string(k) + ")"); }
      void onLabel() override { r_->log("label()"); }

   private:
      Recorder* r_;
   };
   explicit Recorder(Norv::Ptr<const Tree> t, std::string name = "r")
       : name_(std::move(name)), tree_(new NorvTree(this, t)) {}
   void log(const std::string& s) {
      events.push_back(name_ + ":" + s);
      if (onEvent) onEvent(s);
   }
   NorvTree& notifiee() { return *tree_; }
   void dropNotifiee() { tree_.reset(); }

   std::vector<std::string> events;
   std::function<void(const std::string&)> onEvent;

private:
   std::string name_;
   std::unique_ptr<NorvTree> tree_;
};

} // namespace NorvTest
