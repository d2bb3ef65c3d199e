#include <gtest/gtest.h>

#include "norv/NotificationBatch.h"
#include "tests/norv/TestEntities.h"

using namespace NorvTest;
using Events = std::vector<std::string>;

namespace {

struct Fixture : ::testing::Test {
   Norv::Ptr<Tree> tree = new Tree();
   Norv::Ptr<Recorder> a = new Recorder(tree, "a");
   Norv::Ptr<Recorder> b = new Recorder(tree, "b");
   Events all() const {
      Events e = a->events;
      e.insert(e.end(), b->events.begin(), b->events.end());
      return e;
   }
};

using Delivery = Fixture;
using Batch = Fixture;

TEST_F(Delivery, InRegistrationOrderAndOnlyForRealChanges) {
   Events order;
   a->onEvent = [&](const std::string& s) { order.push_back("a:" + s); };
   b->onEvent = [&](const std::string& s) { order.push_back("b:" + s); };
   tree->valueIs(1, 10);
   tree->valueIs(1, 10); // equal value: nothing
   tree->labelIs("x");
   tree->labelIs("x");
   tree->valueDel(7); // absent key: nothing
   tree->valueDel(1);
   EXPECT_EQ(order, (Events{"a:value(1)", "b:value(1)", "a:label()", "b:label()", "a:value(1)",
                            "b:value(1)"}));
}

TEST_F(Delivery, HandlerSeesCurrentStateAndMayNest) {
   // A handler that mutates the same entity: the nested notification is delivered inline,
   // before the outer delivery goes on to the next notifiee.
   a->onEvent = [&](const std::string& s) {
      if (s == "value(1)" && tree->value(1) == 10) tree->valueIs(2, 20);
   };
   tree->valueIs(1, 10);
   EXPECT_EQ(a->events, (Events{"a:value(1)", "a:value(2)"}));
   EXPECT_EQ(b->events, (Events{"b:value(2)", "b:value(1)"}));
}

TEST_F(Delivery, DroppedForZombiesSwitchedOffAndDetached) {
   a->norvDoZombieReactors(true);
   b->hasNotificationActiveIs(false);
   tree->valueIs(1, 1);
   EXPECT_TRUE(all().empty());
   a->norvDoZombieReactors(true); // twice: still a zombie, nothing else
   a->norvDoZombieReactors(false);
   b->hasNotificationActiveIs(true);
   b->hasNotificationActiveIs(true);
   tree->valueIs(1, 2);
   EXPECT_EQ(all(), (Events{"a:value(1)", "b:value(1)"}));
   // A notifiee switched off in the middle of a delivery gets nothing more from it.
   a->events.clear();
   b->events.clear();
   a->onEvent = [&](const std::string&) { b->hasNotificationActiveIs(false); };
   tree->valueIs(1, 3);
   EXPECT_EQ(all(), (Events{"a:value(1)"}));
}

// A lone watcher takes a shorter path; it must follow the same rules as the loop.
TEST(LoneWatcher, FollowsSwitchesZombiesNewcomersAndLeavers) {
   Norv::Ptr<Tree> tree = new Tree();
   Norv::Ptr<Recorder> a = new Recorder(tree, "a");
   tree->valueIs(1, 1);
   a->hasNotificationActiveIs(false);
   tree->valueIs(1, 2);
   a->hasNotificationActiveIs(true);
   a->norvDoZombieReactors(true);
   tree->labelIs("x");
   a->norvDoZombieReactors(false);
   tree->valueIs(1, 3);
   EXPECT_EQ(a->events, (Events{"a:value(1)", "a:value(1)"}));

   Norv::Ptr<Recorder> b = new Recorder(tree, "b");
   b->hasNotificationActiveIs(false);
   tree->valueIs(2, 1); // two watchers, one of them off
   b->hasNotificationActiveIs(true);
   tree->valueIs(2, 2);
   EXPECT_EQ(b->events, (Events{"b:value(2)"}));
   a->dropNotifiee(); // b alone now
   tree->valueIs(2, 3);
   EXPECT_EQ(b->events, (Events{"b:value(2)", "b:value(2)"}));
   EXPECT_EQ(a->events.size(), 4u);

   // The lone watcher leaves during its own delivery; a newcomer hears only later changes.
   Norv::Ptr<Recorder> c;
   b->onEvent = [&](const std::string&) {
      b->dropNotifiee();
      if (!c) c = new Recorder(tree, "c");
   };
   tree->valueIs(3, 1);
   tree->valueIs(3, 2);
   EXPECT_EQ(b->events.back(), "b:value(3)");
   EXPECT_EQ(c->events, (Events{"c:value(3)"}));
   EXPECT_EQ(tree->notifieeCount(), 1u);
   c->dropNotifiee(); // nobody left
   tree->valueIs(3, 3);
   EXPECT_EQ(c->events.size(), 1u);
   EXPECT_EQ(tree->notifieeCount(), 0u);
}

TEST_F(Delivery, NotifieeDestroyedDuringDeliveryIsSkipped) {
   a->onEvent = [&](const std::string&) { b->dropNotifiee(); };
   tree->valueIs(5, 5);
   EXPECT_EQ(all(), (Events{"a:value(5)"}));
   EXPECT_EQ(tree->notifieeCount(), 1u);
}

TEST_F(Delivery, ReactorReleasedByItsOwnHandlerSurvivesTheCall) {
   Recorder* raw = a.ptr();
   a->onEvent = [&](const std::string&) {
      a = nullptr; // the last outside reference goes while the handler runs
      raw->events.push_back("still alive");
   };
   tree->valueIs(1, 1);
   EXPECT_FALSE(a);
   EXPECT_EQ(tree->notifieeCount(), 1u); // its notifiee left with it
}

TEST_F(Delivery, RebindingSendsWholeAttributeNotificationsBindingAtConstructionNothing) {
   EXPECT_TRUE(all().empty());
   Norv::Ptr<Tree> other = new Tree();
   a->notifiee().notifierIs(tree); // same entity: nothing
   EXPECT_TRUE(a->events.empty());
   a->notifiee().notifierIs(other);
   // Every whole-attribute notification, in declaration order (this recorder has no handler
   // for the whole leaf collection).
   EXPECT_EQ(a->events, (Events{"a:value()", "a:label()"}));
   a->events.clear();
   tree->valueIs(1, 1); // the old entity no longer reaches it
   other->valueIs(1, 1);
   EXPECT_EQ(a->events, (Events{"a:value(1)"}));
}

TEST_F(Batch, DefersCoalescesAndOrdersByLastChange) {
   {
      Norv::NotificationBatch batch;
      tree->valueIs(1, 1);
      tree->valueIs(2, 2);
      tree->labelIs("x");
      tree->valueIs(1, 3); // moves key 1 behind key 2 and the label
      EXPECT_TRUE(all().empty());
      EXPECT_EQ(Norv::NotificationBatch::pending(), 3u);
      batch.close();
   }
   EXPECT_EQ(a->events, (Events{"a:value(2)", "a:label()", "a:value(1)"}));
}

TEST_F(Batch, KeyGoneBeforeDeliveryReachesTheHandlerAsAbsent) {
   std::vector<bool> present;
   a->onEvent = [&](const std::string& s) {
      if (s == "value(4)") present.push_back(tree->valueColl().contains(4));
   };
   {
      Norv::NotificationBatch batch;
      tree->valueIs(4, 4);
      tree->valueDel(4);
      batch.close();
   }
   EXPECT_EQ(present, std::vector<bool>{false});
}

TEST_F(Batch, NestedBatchesDeliverWhenTheOutermostCloses) {
   {
      Norv::NotificationBatch outer;
      {
         Norv::NotificationBatch inner;
         tree->valueIs(1, 1);
         inner.close();
      }
      EXPECT_TRUE(a->events.empty());
      outer.close();
   }
   EXPECT_EQ(a->events, (Events{"a:value(1)"}));
}

TEST_F(Batch, ZombieMarkedBeforeTheBatchClosesReceivesNothing) {
   {
      Norv::NotificationBatch batch;
      tree->valueIs(1, 1);
      a->norvDoZombieReactors(true);
      batch.close();
   }
   EXPECT_TRUE(a->events.empty());
   EXPECT_EQ(b->events, (Events{"b:value(1)"}));
}

TEST_F(Batch, DestroyedOpenDiscardsAndLeavesNothingBehind) {
   {
      Norv::NotificationBatch batch;
      tree->valueIs(1, 1);
      tree->labelIs("x");
   }
   EXPECT_TRUE(all().empty());
   EXPECT_EQ(Norv::NotificationBatch::pending(), 0u);
   // The entity kept its changes; later changes are delivered at once, nothing stale with them.
   EXPECT_EQ(tree->value(1), 1);
   tree->valueIs(2, 2);
   EXPECT_EQ(a->events, (Events{"a:value(2)"}));
}

TEST_F(Batch, InnerLeftOpenLeavesItsChangesToTheOutermost) {
   {
      Norv::NotificationBatch outer;
      {
         Norv::NotificationBatch inner;
         tree->valueIs(1, 1);
      }
      EXPECT_EQ(Norv::NotificationBatch::pending(), 1u);
      outer.close();
      outer.close(); // a second close does nothing
   }
   EXPECT_EQ(a->events, (Events{"a:value(1)"}));
}

TEST_F(Batch, CloseLetsAHandlersExceptionThroughAndDropsTheRest) {
   a->onEvent = [&](const std::string& s) {
      if (s == "value(2)") throw std::runtime_error("handler failed");
   };
   {
      Norv::NotificationBatch batch;
      tree->valueIs(1, 1);
      tree->valueIs(2, 2);
      tree->valueIs(3, 3);
      EXPECT_THROW(batch.close(), std::runtime_error);
      EXPECT_FALSE(batch.open());
   }
   // value(3) was never delivered, and nothing is left pending or deferred.
   EXPECT_EQ(a->events, (Events{"a:value(1)", "a:value(2)"}));
   EXPECT_EQ(b->events, (Events{"b:value(1)"}));
   EXPECT_EQ(Norv::NotificationBatch::pending(), 0u);
   a->onEvent = nullptr;
   tree->valueIs(4, 4);
   EXPECT_EQ(b->events, (Events{"b:value(1)", "b:value(4)"}));
}

} // namespace
