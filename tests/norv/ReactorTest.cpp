#include <gtest/gtest.h>

#include "norv/Assert.h"
#include "norv/Clock.h"
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

TEST(Errors, NullValidPtrAndRangeChecks) {
   Norv::Ptr<Leaf> none;
   try {
      (void)none->key();
      FAIL();
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null ValidPtr");
   }
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
