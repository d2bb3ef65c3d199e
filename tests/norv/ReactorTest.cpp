#include <gtest/gtest.h>

#include "norv/Assert.h"
#include "norv/Clock.h"
#include "norv/NotificationBatch.h"
#include "norv/RangeInt.h"
#include "norv/Value.h"
#include "tests/norv/TestEntities.h"

using namespace NorvTest;

namespace {

// A parent reactor with one nested reactor per key, the driver's usual shape.
class Child : public Norv::Reactor {
public:
   NORV_ENTITY("NorvTest::Child")
   Child(uint32_t key, Norv::Ptr<const Leaf> leaf, std::vector<std::string>* log)
       : key_(key), leaf_(std::move(leaf)), log_(log) {}
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_leaf"};
   auto norvCtorAttrs() const { return std::make_tuple(leaf_); }
   void doCleanup() override { log_->push_back("cleanup " + std::to_string(key_)); }

private:
   uint32_t key_;
   Norv::Ptr<const Leaf> leaf_;
   std::vector<std::string>* log_;
};

class Parent : public Norv::Reactor {
public:
   NORV_ENTITY("NorvTest::Parent")
   NORV_REACTOR_COLL(child, Child, uint32_t, Child, Norv::HashMap)
public:
   Norv::Ptr<Child> childIs(uint32_t k, Norv::Ptr<const Leaf> leaf) {
      return Norv::memberIs(
          child_, k, [&] { return Norv::Ptr<Child>(new Child(k, leaf, &log)); }, leaf);
   }
   std::vector<std::string> log;
};

TEST(Nested, ReinstantiationReturnsSameOrNamesTheFirstDifferingAttribute) {
   Norv::Ptr<Parent> p = new Parent();
   Norv::Ptr<const Leaf> l1 = new Leaf(1, "one"), l2 = new Leaf(2, "two");
   auto c = p->childIs(1, l1);
   EXPECT_EQ(p->childIs(1, l1).ptr(), c.ptr());
   try {
      p->childIs(1, l2);
      FAIL() << "no reinstantiation error";
   } catch (const Norv::NameInUseError& e) {
      EXPECT_STREQ(e.what(),
                   "Reinstantiating the pointer interface where constructor parameter "
                   "attribute _leaf has a different value of Ref('NorvTest::Leaf') "
                   "than the current value of Ref('NorvTest::Leaf') not allowed");
   }
   EXPECT_EQ(p->child(1).ptr(), c.ptr());
}

TEST(Nested, EntityMemberReinstantiationComparesValues) {
   Norv::Ptr<Tree> t = new Tree();
   auto l = t->leafIs(3, std::string("a"));
   EXPECT_EQ(t->leafIs(3, std::string("a")).ptr(), l.ptr());
   EXPECT_THROW(t->leafIs(3, std::string("b")), Norv::NameInUseError);
   t->leafDel(3);
   EXPECT_EQ(t->leafIs(3, std::string("b"))->tag(), "b");
}

TEST(Nested, RemovalCleansUpThenZombiesAndSwitchesPropagate) {
   Norv::Ptr<Parent> p = new Parent();
   Norv::Ptr<const Leaf> l = new Leaf(1, "x");
   auto c1 = p->childIs(1, l);
   auto c2 = p->childIs(2, l);
   p->hasNotificationActiveIs(false);
   EXPECT_FALSE(c1->hasNotificationActive());
   p->hasNotificationActiveIs(true);
   EXPECT_TRUE(c2->hasNotificationActive());
   p->norvDoZombieReactors(true);
   EXPECT_TRUE(c1->norvZombie() && c2->norvZombie());
   p->norvDoZombieReactors(false);
   p->childDel(1);
   p->childDel(1); // absent: nothing
   EXPECT_EQ(p->log, std::vector<std::string>{"cleanup 1"});
   EXPECT_TRUE(c1->norvZombie());
   EXPECT_FALSE(c2->norvZombie());
   p->childDelAll();
   EXPECT_EQ(p->childCount(), 0u);
   EXPECT_TRUE(c2->norvZombie());
}

class Armed : public Norv::ArmedReactor {
public:
   NORV_ENTITY("NorvTest::Armed")
   void handleInitialized() override {
      NORV_ASSERT(initialized());
      ++runs;
   }
   int runs = 0;
};

TEST(Reactors, ArmedReactorRunsOnEveryChangeAndRefusesDisarming) {
   Norv::Ptr<Armed> r = new Armed();
   r->initializedIs(true);
   r->initializedIs(true);
   EXPECT_EQ(r->runs, 1);
   EXPECT_DEATH(r->initializedIs(false), "Assertion `initialized\\(\\)' failed");
}

// The driver's armed-reactor shape: keyed handlers return while not initialised, and
// handleInitialized walks every key, so nothing that arrived before arming is lost.
class Mirror : public Norv::ArmedReactor {
public:
   NORV_ENTITY("NorvTest::Mirror")
   class NorvTree : public Tree::NotifieeConst {
   public:
      NorvTree(Mirror* m, Norv::Ptr<const Tree> t) : NotifieeConst(m, t), m_(m) {}
      void onValue(const uint32_t& k) override { m_->handleValue(k); }
      void onValue() override { m_->handleValue(); }

   private:
      Mirror* m_;
   };
   explicit Mirror(Norv::Ptr<const Tree> t) : tree_(t), notifiee_(this, t) {}
   void handleInitialized() override {
      NORV_ASSERT(initialized());
      handleValue();
   }
   void handleValue() {
      for (auto it = tree_->valueColl().begin(); it; ++it)
         handleValue(it.key());
      for (auto it = copy.begin(); it; ++it)
         handleValue(it.key()); // keys only we still hold
   }
   void handleValue(uint32_t k) {
      if (!initialized()) return;
      ++calls;
      if (auto* v = tree_->valueColl().find(k)) {
         copy[k] = *v;
      } else {
         copy.erase(k); // the key is gone: a removal
      }
   }
   Norv::HashMap<uint32_t, int> copy;
   int calls = 0;

private:
   Norv::Ptr<const Tree> tree_;
   NorvTree notifiee_;
};

TEST(Reactors, NotificationsBeforeArmingArePickedUpByTheKeylessHandler) {
   Norv::Ptr<Tree> t = new Tree();
   t->valueIs(1, 10);
   Norv::Ptr<Mirror> m = new Mirror(t);
   t->valueIs(2, 20); // arrives before arming: ignored
   EXPECT_EQ(m->calls, 0);
   m->initializedIs(true);
   EXPECT_EQ(m->copy.size(), 2u);
   EXPECT_EQ(*m->copy.find(2), 20);
   {
      Norv::NotificationBatch batch; // the key is gone when its notification arrives
      t->valueIs(3, 30);
      t->valueDel(3);
      t->valueDel(1);
      batch.close();
   }
   EXPECT_FALSE(m->copy.contains(3));
   EXPECT_FALSE(m->copy.contains(1));
   EXPECT_TRUE(m->copy.contains(2));
}

struct SmallTag {
   static constexpr const char* rangeError = "Small::value < 2 or > 5 not allowed";
};
using Small = Norv::RangeInt<SmallTag, uint8_t, 2, 5>;

TEST(Errors, NullValidPtrAndRangeChecks) {
   Norv::Ptr<Leaf> none;
   try {
      (void)none->key();
      FAIL();
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null ValidPtr");
   }
   try {
      Norv::throwNullParameter("_chipPortRangeConfig",
                               "XpAcl::L4PortXformSm::chipPortRangeConfig");
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null _chipPortRangeConfig parameter to mutator for "
                             "XpAcl::L4PortXformSm::chipPortRangeConfig not allowed\"");
   }
   EXPECT_EQ(Small(5).value(), 5);
   EXPECT_THROW(Small(6), Norv::RangeError);
   EXPECT_THROW(Small(1), Norv::RangeError);
   Small s(3);
   EXPECT_THROW(s.valueIs(0), Norv::RangeError);
   EXPECT_EQ(s.value(), 3); // a refused value leaves the old one
}

TEST(Errors, AssertionNamesExpressionFileAndFunction) {
   EXPECT_DEATH(NORV_ASSERT(1 + 1 == 3),
                "ReactorTest.cpp:[0-9]+: .*TestBody.*: Assertion `1 \\+ 1 == 3' failed");
}

TEST(Values, TextualForm) {
   Norv::HashMap<uint8_t, bool> lens;
   lens.insert(8, true);
   lens.insert(16, true);
   EXPECT_EQ(Norv::valueText("XpAcl::Thing", Norv::field("len", lens),
                             Norv::field("name", std::string("n")), Norv::field("on", false)),
             "Value('XpAcl::Thing', ** {'len': {16: true, 8: true}, 'name': n, 'on': false})");
   EXPECT_EQ(Norv::text(Norv::Ptr<Leaf>()), "null");
}

TEST(Clock, TimersFireInTimeOrderOnlyForLiveReactors) {
   auto& am = Norv::activityManager();
   am.realTimeIs(false, 100.0);
   std::vector<std::string> fired;
   Norv::Ptr<Parent> live = new Parent(), zombie = new Parent();
   Norv::ClockNotifiee t1(live.ptr(), [&] { fired.push_back("t1@" + Norv::text(am.now())); });
   Norv::ClockNotifiee t2(live.ptr(), [&] {
      fired.push_back("t2@" + Norv::text(am.now()));
      if (fired.size() < 4) t1.timeMinIs(am.now() + 1); // handlers re-arm
   });
   Norv::ClockNotifiee t3(zombie.ptr(), [&] { fired.push_back("t3"); });
   zombie->norvDoZombieReactors(true);
   t1.timeMinIs(103);
   t2.timeMinIs(101.5);
   t3.timeMinIs(0);   // next opportunity, but its reactor is a zombie
   am.advanceTo(102); // t2 re-arms t1 for 102.5, which is not due yet
   EXPECT_EQ(fired, (std::vector<std::string>{"t2@101.5"}));
   EXPECT_EQ(am.now(), 102);
   am.advanceBy(10);
   EXPECT_EQ(fired, (std::vector<std::string>{"t2@101.5", "t1@102.5"}));
   EXPECT_EQ(am.pendingTimers(), 0u);
}

} // namespace
