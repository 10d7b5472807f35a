// A sample of the public netlib models, solved by both loops: each answer
// must match the reference objective and pass the independent optimality
// check on the model as read back through the getters.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;

std::map<std::string, double> readReference(const std::string &dir) {
  std::map<std::string, double> ref;
  std::ifstream in(dir + "/reference.tsv");
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string name, status;
    double value = 0;
    if (fields >> name >> status >> value) ref[name] = value;
  }
  return ref;
}

using NetlibSample = EnvFixture;

TEST_F(NetlibSample, BothLoopsReachTheReferenceWithACheckedSolution) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  const auto reference = readReference(dir);
  const char *models[] = {"afiro", "sc50b", "blend", "adlittle", "share2b", "stocfor1", "kb2",
                          "boeing2", "recipe", "scagr7", "israel", "bore3d", "vtpbase", "degen2",
                          "e226", "agg2", "capri", "scfxm2", "etamacro", "25fv47"};
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  int solved = 0;
  for (const char *name : models) {
    if (!reference.count(name)) continue;
    for (int method : {1, 2}) {
      SCOPED_TRACE(std::string(name) + (method == 1 ? " primal" : " dual"));
      int status = 0;
      QVNLPptr lp = QVNcreateprob(env, &status, name);
      ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr), 0);
      ASSERT_EQ(method == 1 ? QVNprimopt(env, lp) : QVNdualopt(env, lp), 0);
      const qvntest::LpModel model = qvntest::readModel(env, lp);
      qvntest::LpSolution s;
      ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
      EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
      const double ref = reference.at(name);
      EXPECT_LE(std::fabs(s.objective - ref), 1e-6 * std::max(1.0, std::fabs(ref)));
      EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
      QVNfreeprob(env, &lp);
      ++solved;
    }
  }
  EXPECT_GT(solved, 0);
}

} // namespace
