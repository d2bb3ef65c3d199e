#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "sim/Sim.h"
#include "tests/xdk/xpTestTableMgr.h"
#include "xdk/xpIfPl.h"

// 'show sdk': the chip model's operations per table since the last look.
namespace {

// One simulator per test, its output and errors kept apart.
class ShowSdk : public ::testing::Test {
protected:
   bool run(const std::string& text) { return sim.runText("t.scn", text, err); }
   std::ostringstream out, err;
   Sim::Simulator sim{out};
};

TEST_F(ShowSdk, NamesItsTablesAndCountsFromTheLastLook) {
   EXPECT_FALSE(run("show sdk nosuch\n"));
   EXPECT_EQ(err.str().rfind("t.scn:1: unknown table 'nosuch': expected one of ", 0), 0u)
       << err.str();
   EXPECT_NE(err.str().find("aaclL4PortMgr.dst, aaclL4PortMgr.src, xpAaclMgTableMgr"),
             std::string::npos)
       << "tables in name order: " << err.str();
   EXPECT_FALSE(run("show sdk aaclL4PortMgr.src extra\n"));

   // The counts of one table, looked at alone, start afresh for that table only.
   ASSERT_TRUE(run("device add 2\ndevice up 2\nl4 range dst 2 7 7 1\n"
                   "show sdk aaclL4PortMgr.dst\nl4 range dst 2 8 8 1\nshow sdk\n"))
       << err.str();
   // Other tables count too; these two are the L4 tables' part.
   EXPECT_EQ(out.str().rfind("chip operations since the last 'show sdk' of aaclL4PortMgr.dst\n"
                             "  aaclL4PortMgr.dst: getNumOfEntry 1, readEntry 65537, "
                             "writeEntry 1\n"
                             "chip operations since the last 'show sdk'\n"
                             "  aaclL4PortMgr.dst: readEntry 1, writeEntry 1\n"
                             "  aaclL4PortMgr.src: getNumOfEntry 1, readEntry 65536\n",
                             0),
             0u)
       << out.str();
}

TEST_F(ShowSdk, PicksUpEveryTableRegisteredInTheModel) {
   // A table the simulator knows nothing of, one named and one not, in a layer of their own.
   auto named = std::make_unique<xpTestTableMgr>(4);
   auto unnamed = std::make_unique<xpTestTableMgr>(4);
   named->tableNameIs("test.named");
   xpTestTableMgr* n = named.get();
   xpTestTableMgr* u = unnamed.get();
   ASSERT_EQ(xpIfPl::instance()->addMgr(900, std::move(named)), XP_NO_ERR);
   ASSERT_EQ(xpIfPl::instance()->addMgr(901, std::move(unnamed)), XP_NO_ERR);
   ASSERT_TRUE(run("device add 3\n")) << err.str();
   const xpTestEntry entry{1, 2};
   n->writeEntry(3, 1, &entry);
   u->clearEntry(3, 1);
   u->clearEntry(3, 2);
   // The unnamed table is the layer's last, after the interface tables the model has.
   const std::string unnamedName = "if.table" + std::to_string(xpIfPl::instance()->numOfMgrs());
   ASSERT_TRUE(run("show sdk\nshow sdk " + unnamedName + "\n")) << err.str();
   EXPECT_EQ(out.str(), "chip operations since the last 'show sdk'\n"
                        "  " +
                            unnamedName +
                            ": clearEntry 2\n"
                            "  test.named: writeEntry 1\n"
                            "chip operations since the last 'show sdk' of " +
                            unnamedName +
                            "\n"
                            "  " +
                            unnamedName +
                            ": clearEntry 0, getNumOfEntry 0, readEntry 0, writeEntry 0\n");
   xpIfPl::instance()->removeMgr(900);
   xpIfPl::instance()->removeMgr(901);
}

} // namespace
