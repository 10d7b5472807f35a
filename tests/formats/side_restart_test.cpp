// The restart file: a simplex run writes its basis every so many iterations
// (parameter 1004), and a later optimization of the same problem loads it
// when parameter 1041 is on. Checked by what the file must do: the restart
// starts from the basis the file holds (read back on its own), needs fewer
// iterations than a cold run, and reaches the netlib reference optimum, whose
// optimality conditions an independent checker confirms.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "formats/format_test_support.h"
#include "simplex/basis_test_support.h"

namespace qvntest {
namespace {

constexpr int kRecoveryParam = 1004, kRestartParam = 1041;

class Restart : public FormatFixture {
protected:
  void SetUp() override {
    FormatFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  }
  void TearDown() override {
    for (QVNLPptr &p : problems) QVNfreeprob(env, &p);
    FormatFixture::TearDown();
  }
  // A netlib model read and renamed into the test's folder, so that its
  // restart file is dir/<name>.xxx.
  QVNLPptr model(const std::string &data, const char *name) {
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, name);
    problems.push_back(p);
    EXPECT_EQ(QVNreadcopyprob(env, p, (data + "/netlib/" + name + ".mps.gz").c_str(), nullptr), 0);
    EXPECT_EQ(QVNchgprobname(env, p, path(std::string(name) + ".mps.gz").c_str()), 0);
    return p;
  }
  // Status, reference objective and the independent optimality check.
  void expectReference(QVNLPptr p, double reference) {
    const LpModel m = readModel(env, p);
    LpSolution s;
    ASSERT_EQ(readSolution(env, p, m, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_LE(std::fabs(s.objective - reference), 1e-6 * std::max(1.0, std::fabs(reference)));
    EXPECT_EQ(checkOptimal(m, s, 1e-6), "");
  }
  // Basic flags of the caller's statuses, columns then rows.
  static std::vector<int> basicFlags(const std::vector<int> &cstat, const std::vector<int> &rstat) {
    std::vector<int> flags;
    for (int s : cstat) flags.push_back(s == 1);
    for (int s : rstat) flags.push_back(s == 1);
    return flags;
  }
  std::vector<QVNLPptr> problems;
};

// For each loop: run to iteration k + 1 with a recovery file every k; the
// file holds the basis of iteration k. A fresh copy loads it: with no
// iteration allowed it stands on exactly that basis; solved, it reaches the
// reference in fewer iterations than a cold run.
TEST_F(Restart, RecoveryFileWrittenAtIterationKRestartsAFreshRun) {
  const std::string data = sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const auto reference = netlibReference(data + "/netlib");
  const char *name = "boeing1";
  constexpr int k = 100;
  const std::string file = path(std::string(name) + ".xxx");
  using Optimizer = int (*)(QVNCENVptr, QVNLPptr);
  const std::pair<Optimizer, const char *> loops[] = {{QVNdualopt, "dual"}, {QVNprimopt, "primal"}};
  for (const auto &[optimizer, label] : loops) {
    SCOPED_TRACE(label);
    std::filesystem::remove(file);
    QVNLPptr cold = model(data, name);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(optimizer(env, cold), 0);
    expectReference(cold, reference.at(name));
    const int coldIterations = QVNgetitcnt(env, cold);
    ASSERT_GT(coldIterations, 2 * k);
    EXPECT_FALSE(std::filesystem::exists(file)) << "no file without parameter 1004";

    QVNLPptr first = model(data, name);
    ASSERT_EQ(QVNsetintparam(env, kRecoveryParam, k), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, k + 1), 0);
    takeResults();
    ASSERT_EQ(optimizer(env, first), 0);
    EXPECT_EQ(QVNgetstat(env, first), QVN_STAT_ABORT_IT_LIM);
    EXPECT_EQ(countOf(takeResults(), "Basis recovery file written to '" + file + "'.\n"), 1);
    ASSERT_TRUE(std::filesystem::exists(file));
    std::ifstream in(file);
    std::string comment, header;
    std::getline(in, comment);
    std::getline(in, header);
    EXPECT_EQ(comment.rfind("* ", 0), 0u) << comment;
    EXPECT_NE(header.find("Iterations " + std::to_string(k) + "  Rows 351  Cols 384"), std::string::npos) << header;
    ASSERT_EQ(QVNsetintparam(env, kRecoveryParam, 2100000000), 0);

    // The file read on its own, as a plain basis file.
    const int n = QVNgetnumcols(env, first), m = QVNgetnumrows(env, first);
    std::vector<int> fileCols(n), fileRows(m), cstat(n), rstat(m);
    ASSERT_EQ(QVNmbaseread(env, first, file.c_str(), fileCols.data(), fileRows.data()), 0);

    QVNLPptr again = model(data, name);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 1), 0);
    ASSERT_EQ(QVNsetintparam(env, kRestartParam, 1), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 0), 0);
    takeResults();
    ASSERT_EQ(optimizer(env, again), 0);
    EXPECT_EQ(countOf(takeResults(), "Load of restart from file succeeded.\n"), 1);
    ASSERT_EQ(QVNgetbase(env, again, cstat.data(), rstat.data()), 0);
    EXPECT_EQ(basicFlags(cstat, rstat), basicFlags(fileCols, fileRows));
    int advind = -1;
    ASSERT_EQ(QVNgetintparam(env, QVN_PARAM_ADVIND, &advind), 0);
    EXPECT_EQ(advind, 1) << "the default stands again after the run";

    QVNLPptr restarted = model(data, name);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 2100000000), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
    takeResults();
    ASSERT_EQ(optimizer(env, restarted), 0);
    EXPECT_EQ(countOf(takeResults(), "Load of restart from file succeeded.\n"), 1);
    ASSERT_EQ(QVNgetintparam(env, QVN_PARAM_ADVIND, &advind), 0);
    EXPECT_EQ(advind, 0);
    expectReference(restarted, reference.at(name));
    EXPECT_LT(QVNgetitcnt(env, restarted), coldIterations);
    ASSERT_EQ(QVNsetintparam(env, kRestartParam, 0), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 1), 0);
  }
}

// What must not load or be written: no file, a file of another shape, a
// problem that already holds a start, and the loops on a reduced problem.
TEST_F(Restart, OnlyAFileOfTheProblemsShapeLoadsAndOnlyTheProblemsOwnLoopsWrite) {
  const std::string data = sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const auto reference = netlibReference(data + "/netlib");
  const std::string file = path("afiro.xxx");
  ASSERT_EQ(QVNsetintparam(env, kRestartParam, 1), 0);

  QVNLPptr p = model(data, "afiro");
  takeResults();
  ASSERT_EQ(QVNlpopt(env, p), 0);
  EXPECT_EQ(countOf(takeResults(), "Load of restart from file failed.\n"), 1);
  expectReference(p, reference.at("afiro"));

  // The counts of another model: refused, and the run is a cold one.
  writeFile("afiro.xxx", "NAME          afiro  Iterations 3  Rows 2  Cols 2\n XU X01  R09\nENDATA\n");
  QVNLPptr q = model(data, "afiro");
  takeResults();
  ASSERT_EQ(QVNlpopt(env, q), 0);
  EXPECT_EQ(countOf(takeResults(), "Load of restart from file failed.\n"), 1);
  expectReference(q, reference.at("afiro"));
  EXPECT_EQ(QVNgetitcnt(env, q), QVNgetitcnt(env, p));

  // A held start wins over the file: nothing is loaded, nothing is said.
  takeResults();
  ASSERT_EQ(QVNlpopt(env, q), 0);
  EXPECT_EQ(takeResults().find("Load of restart"), std::string::npos);
  EXPECT_EQ(QVNgetitcnt(env, q), 0);
  ASSERT_EQ(QVNsetintparam(env, kRestartParam, 0), 0);

  // With presolve reducing the model the loops solve another problem: no
  // file is written for it under this problem's name.
  std::filesystem::remove(file);
  QVNLPptr r = model(data, "afiro");
  ASSERT_EQ(QVNsetintparam(env, kRecoveryParam, 1), 0);
  takeResults();
  ASSERT_EQ(QVNdualopt(env, r), 0);
  EXPECT_EQ(takeResults().find("Basis recovery file"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(file));
  expectReference(r, reference.at("afiro"));
  // Without presolve every iteration writes it, the last one standing.
  QVNLPptr s = model(data, "afiro");
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  takeResults();
  ASSERT_EQ(QVNdualopt(env, s), 0);
  const int iterations = QVNgetitcnt(env, s);
  EXPECT_EQ(countOf(takeResults(), "Basis recovery file written to"), iterations);
  std::ifstream in(file);
  std::string header;
  std::getline(in, header);
  std::getline(in, header);
  EXPECT_NE(header.find("Iterations " + std::to_string(iterations) + " "), std::string::npos) << header;
}

} // namespace
} // namespace qvntest
