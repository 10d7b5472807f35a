// The columns of the node log.
#include <gtest/gtest.h>

#include <string>

#include "mip/mip_log.h"
#include "runtime/environment.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

class MipLogTest : public ProblemFixture {};

TEST_F(MipLogTest, NodeLineColumnsAndGap) {
  char gap[16];
  qvn::formatGap(gap, true, 100.0, 99.0, false);
  EXPECT_STREQ(gap, "    1.00%");
  qvn::formatGap(gap, true, 1.0, 11.0, false);  // 1000%
  EXPECT_STREQ(gap, "     --- ");
  qvn::formatGap(gap, false, 0.0, 5.0, false);  // no incumbent: blank
  EXPECT_STREQ(gap, "         ");
  qvn::formatGap(gap, false, 0.0, 1e75, false);  // nothing open
  EXPECT_STREQ(gap, "    0.00%");

  Environment *e = env;
  log.clear();
  qvn::printMipHeader(e);
  EXPECT_EQ(log, "\n        Nodes                                         Cuts/\n"
                 "   Node  Left     Objective  IInf  Best Integer     Best Node    ItCnt     Gap\n\n");
  qvn::NodeLine line;
  line.node = 100;
  line.left = 12;
  line.objective = 12345678.0;  // exponent form from 1e7
  line.iinf = 3;
  line.bestNode = 2.5;
  line.iterations = 250;
  log.clear();
  qvn::printNodeLine(e, line);
  EXPECT_EQ(log, "    100    12   1.23457e+07     3                      2.5000      250         \n");
  line.kind = qvn::NodeLine::Kind::kIncumbent;
  line.mark = '*';
  line.hasIncumbent = true;
  line.incumbent = -3.0;  // a maximization prints the user's sign
  line.bestNode = -2.0;
  log.clear();
  qvn::printNodeLine(e, line);
  EXPECT_EQ(log, "*   100    12                   0       -3.0000       -2.0000      250   33.33%\n");
  line.kind = qvn::NodeLine::Kind::kInfeasible;
  line.mark = ' ';
  log.clear();
  qvn::printNodeLine(e, line);
  EXPECT_EQ(log.substr(0, 33), "    100    12    infeasible      ");
  log.clear();
  qvn::printIncumbentShort(e, 7.0, 3, 1e75, -1);
  EXPECT_EQ(log, "Best integer =   7.000000e+00  Node =       3  Best node = +inf\n");
}

} // namespace
} // namespace qvntest
