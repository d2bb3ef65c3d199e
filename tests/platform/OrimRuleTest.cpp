#include "platform/OrimDataFlow.h"

#include <gtest/gtest.h>

namespace {

TEST(OrimRule, AclIdTextReadsBack) {
   const Orim::AclId id(Orim::ChipRuleListId(12), Acl::AclDirection::out);
   EXPECT_EQ(id.text(), "Value('Orim::AclId', ** {'chipRuleListId': 12, 'direction': out})");
   EXPECT_EQ(Orim::AclId::fromText(id.text()), id);
   const Orim::AclId in(Orim::ChipRuleListId(4294967295u), Acl::AclDirection::in);
   EXPECT_EQ(Orim::AclId::fromText(in.text()), in);
   for (const char* bad :
        {"", "Value('Orim::AclId', ** {'chipRuleListId': 12, 'direction': up})",
         "Value('Orim::AclId', ** {'chipRuleListId': -1, 'direction': in})",
         "Value('Orim::AclId', ** {'chipRuleListId': 4294967296, 'direction': in})",
         "Value('Orim::AclId', ** {'chipRuleListId': 1, 'direction': in}) ",
         "Value('Orim::AclId', ** {'chipRuleListId':  1, 'direction': in})"}) {
      EXPECT_THROW(Orim::AclId::fromText(bad), Norv::RangeError) << bad;
   }
}

TEST(OrimRule, KeysOrderAndCompareFieldByField) {
   using K = Orim::PerStageHashTableKey;
   EXPECT_LT(K(0, 9), K(1, 0));
   EXPECT_LT(K(1, 2), K(1, 3));
   EXPECT_NE(K(1, 2).hash(), K(2, 1).hash());
   const Orim::AclId a(Orim::ChipRuleListId(1), Acl::AclDirection::out);
   const Orim::AclId b(Orim::ChipRuleListId(2), Acl::AclDirection::in);
   EXPECT_LT(a, b);
   EXPECT_EQ(K(1, 5).text(),
             "Value('Orim::PerStageHashTableKey', ** {'way': 1, 'hashIndex': 5})");
}

TEST(OrimRule, PdKeyTextListsEveryField) {
   Orim::PDKeyValue k;
   k.srcIpLabelIs(1);
   k.dstIpLabelIs(2);
   k.srcPortLabelIs(3);
   k.dstPortLabelIs(4);
   k.ttlIs(64);
   k.establishedIs(1);
   k.fragmentIs(true);
   k.protocolIs(6);
   EXPECT_EQ(k.text(), "Value('Orim::PDKeyValue', ** {'srcIpLabel': 1, 'dstIpLabel': 2, "
                       "'srcPortLabel': 3, 'dstPortLabel': 4, 'ttl': 64, 'tcpFlag': 0, "
                       "'established': 1, 'fragment': true, 'protocol': 6})");
}

// Setting an equal entry notifies nothing: a re-published table costs the driver nothing.
TEST(OrimRule, EqualEntryIsNoChange) {
   struct Counter : Orim::PerStageHashTable::NotifieeConst {
      using NotifieeConst::NotifieeConst;
      int n = 0;
      void onTable(const Orim::PerStageHashTableKey&) override { ++n; }
   };
   auto config = Orim::dataFlowConfigFactory("df");
   auto table =
       config->chipDataFlowConfigIs(Orim::ChipId(1))->stageHashTableIs(Orim::StageId(2));
   Counter c(nullptr, table);
   Orim::PerStageTableEntry e;
   e.priorityIs(3);
   table->tableIs(Orim::PerStageHashTableKey(0, 1), e);
   table->tableIs(Orim::PerStageHashTableKey(0, 1), e);
   EXPECT_EQ(c.n, 1);
   e.priorityIs(4);
   table->tableIs(Orim::PerStageHashTableKey(0, 1), e);
   EXPECT_EQ(c.n, 2);
}

} // namespace
