// A fixture for primal loop runs whose log matters: the results channel is
// collected, presolve is off so that the loop sees the model as built, and
// every optimum is checked independently.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "support/lp_model.h"
#include "support/test_support.h"

namespace qvntest {

class PrimalRunFixture : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    QVNCHANNELptr results = nullptr;
    ASSERT_EQ(QVNgetchannels(env, &results, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(QVNaddfuncdest(env, results, &log, collect), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  }
  // Solves m with the primal loop, the log of this run alone in `log`; the
  // optimum must pass the check. Returns the objective.
  double solvePrimal(const LpModel &m) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "primal");
    EXPECT_EQ(m.load(env, lp), 0);
    log.clear();
    EXPECT_EQ(QVNprimopt(env, lp), 0);
    LpSolution s;
    EXPECT_EQ(readSolution(env, lp, m, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_EQ(checkOptimal(m, s), "");
    QVNfreeprob(env, &lp);
    return s.objective;
  }
  std::string log;

private:
  static void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }
};

} // namespace qvntest
