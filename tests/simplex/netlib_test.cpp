// A sample of the public netlib models, solved by both loops: each answer
// must match the reference objective and pass the independent optimality
// check on the model as read back through the getters.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "runtime/debug_checks.h"
#include "simplex/basis_test_support.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;

class NetlibSample : public EnvFixture {
protected:
  // Solves one model and checks the answer against the reference and the
  // optimality conditions of the model as read back.
  void solveChecked(const std::string &dir, const std::string &name, double ref, int method, int preind) {
    SCOPED_TRACE(name + (method == 1 ? " primal" : " dual") + (preind ? "" : " unpresolved"));
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, name.c_str());
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, preind), 0);
    qvn::setDebugLevel(env, qvn::debugLevel(env));  // failures counted per model
    ASSERT_EQ(method == 1 ? QVNprimopt(env, lp) : QVNdualopt(env, lp), 0);
    const qvntest::LpModel model = qvntest::readModel(env, lp);
    qvntest::LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_LE(std::fabs(s.objective - ref), 1e-6 * std::max(1.0, std::fabs(ref)));
    EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
    EXPECT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);
    QVNfreeprob(env, &lp);
  }
};

TEST_F(NetlibSample, BothLoopsReachTheReferenceWithACheckedSolution) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  const auto reference = qvntest::netlibReference(dir);
  const char *models[] = {"afiro", "sc50b", "blend", "adlittle", "share2b", "stocfor1", "kb2",
                          "boeing2", "recipe", "scagr7", "israel", "bore3d", "vtpbase", "degen2",
                          "e226", "agg2", "capri", "scfxm2", "etamacro", "25fv47"};
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  // The debug layer checks every rebuild of these runs (also under the
  // sanitizers, where this sample is the netlib test that runs).
  qvn::setDebugLevel(env, 1);
  int solved = 0;
  for (const char *name : models) {
    if (!reference.count(name)) continue;
    for (int method : {1, 2}) solveChecked(dir, name, reference.at(name), method, 1);
    ++solved;
  }
  EXPECT_GT(solved, 0);
}

// The whole collection, by both loops, with presolve and without: about a
// minute in an optimized build, far too long under the sanitizers.
TEST_F(NetlibSample, WholeCollectionByBothLoopsWithAndWithoutPresolve) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "too long under the sanitizers; the sample above runs there";
#endif
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  const auto reference = qvntest::netlibReference(dir);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_TILIM, 120.0), 0);
  for (const auto &[name, ref] : reference) {
    if (name.empty() || name[0] == '#') continue;
    for (int method : {1, 2})
      for (int preind : {1, 0}) solveChecked(dir, name, ref, method, preind);
  }
}

} // namespace
