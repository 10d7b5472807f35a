// The conflict refiner. Every conflict is checked from outside: the written
// conflict file is read back into a fresh problem and solved by the primal
// and by the dual simplex, both of which must find it infeasible; for a
// minimal conflict, each member dropped in turn gives a point that the
// independent checker of tests/mip accepts on the reduced file.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "mip/mip_check.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

struct Conflict {
  int status = -1;
  std::vector<int> rows, rowStatus, cols, colStatus;
};

Conflict readConflict(QVNENVptr env, QVNLPptr lp) {
  Conflict c;
  int nr = 0, nc = 0;
  EXPECT_EQ(QVNgetconflict(env, lp, &c.status, nullptr, nullptr, &nr, nullptr, nullptr, &nc), 0);
  c.rows.resize(nr), c.rowStatus.resize(nr), c.cols.resize(nc), c.colStatus.resize(nc);
  EXPECT_EQ(QVNgetconflict(env, lp, &c.status, c.rows.data(), c.rowStatus.data(), &nr, c.cols.data(),
                           c.colStatus.data(), &nc),
            0);
  return c;
}

std::string tempName(const char *tag) {
  // The process id keeps suites of several checkouts running at once apart.
  return ::testing::TempDir() + "conflict_" + std::to_string(::getpid()) + "_" + tag + "_" +
         ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".lp";
}

std::string fileText(const std::string &path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Status of the model in `file` (a fresh problem) under each method, with
// the point checked when one is claimed. Returns "infeasible", "feasible" or
// a description of what went wrong.
std::string verdictOf(QVNENVptr env, const std::string &file) {
  int status = 0;
  QVNLPptr p = QVNcreateprob(env, &status, "check");
  if (!p || QVNreadcopyprob(env, p, file.c_str(), nullptr) != 0) return "unreadable " + file;
  const bool mip = QVNgetprobtype(env, p) == QVN_PROB_MILP;
  const MipModel model = readMipModel(env, p);
  std::string verdict;
  const int runs = mip ? 1 : 2;
  for (int run = 0; run < runs; ++run) {
    QVNLPptr q = QVNcloneprob(env, p, &status);
    const int rc = mip ? QVNmipopt(env, q) : run == 0 ? QVNprimopt(env, q) : QVNdualopt(env, q);
    const int stat = QVNgetstat(env, q);
    std::string v;
    if (rc != 0) v = "error " + std::to_string(rc);
    else if (stat == 3 || stat == 4 || stat == 103 || stat == 119) v = "infeasible";
    else if (stat == 1 || stat == 101 || stat == 102) {
      std::vector<double> x(static_cast<size_t>(model.lp.numCols()) + 1);
      double obj = 0.0;
      QVNgetx(env, q, x.data(), 0, model.lp.numCols() - 1);
      QVNgetobjval(env, q, &obj);
      x.resize(static_cast<size_t>(model.lp.numCols()));
      const std::string fault = checkIntegerSolution(model, x, obj, 1e-5);
      v = fault.empty() ? "feasible" : "bad point: " + fault;
    } else {
      v = "status " + std::to_string(stat);
    }
    QVNfreeprob(env, &q);
    if (run == 0) verdict = v;
    else if (v != verdict) verdict = "methods disagree: " + verdict + " / " + v;
  }
  QVNfreeprob(env, &p);
  return verdict;
}

// Drops one member of the conflict file in turn (a row, or a bound opened)
// and expects a point each time. Returns the first failure, or "".
std::string checkMinimal(QVNENVptr env, const std::string &file) {
  int status = 0;
  QVNLPptr p = QVNcreateprob(env, &status, "minimal");
  if (!p || QVNreadcopyprob(env, p, file.c_str(), nullptr) != 0) return "unreadable";
  const int m = QVNgetnumrows(env, p), n = QVNgetnumcols(env, p);
  std::vector<double> lb(static_cast<size_t>(n) + 1), ub(static_cast<size_t>(n) + 1);
  if (n > 0) {
    QVNgetlb(env, p, lb.data(), 0, n - 1);
    QVNgetub(env, p, ub.data(), 0, n - 1);
  }
  // A ranged row comes back as an equality with a column "Rg<row>": its
  // bounds are the row's range, part of the row member, not members of their own.
  // The bounds of a binary belong to its type, never members either.
  std::vector<bool> rangeColumn(static_cast<size_t>(n), false);
  std::string ctype(static_cast<size_t>(n) + 1, 'C');
  if (n > 0 && QVNgetprobtype(env, p) == QVN_PROB_MILP) QVNgetctype(env, p, ctype.data(), 0, n - 1);
  for (int j = 0; j < n; ++j) {
    char *name = nullptr;
    char store[300];
    int surplus = 0;
    if (QVNgetcolname(env, p, &name, store, sizeof store, &surplus, j, j) == 0 && name)
      rangeColumn[j] = std::string(name).rfind("Rg", 0) == 0 || ctype[j] == 'B';
  }
  const std::string dropped = tempName("dropped");
  std::string failure;
  // Members: rows, then each finite bound.
  for (int k = 0; k < m + 2 * n && failure.empty(); ++k) {
    const int j = k < m ? -1 : (k - m) % n;
    const bool lower = k >= m && k < m + n;
    if (j >= 0 && (rangeColumn[j] || (lower ? lb[j] <= -1e20 : ub[j] >= 1e20))) continue;
    QVNLPptr q = QVNcloneprob(env, p, &status);
    if (j < 0) QVNdelrows(env, q, k, k);
    else {
      const double open = lower ? -1e20 : 1e20;
      const char kind = lower ? 'L' : 'U';
      QVNchgbds(env, q, 1, &j, &kind, &open);
    }
    QVNlpwrite(env, q, dropped.c_str());
    QVNfreeprob(env, &q);
    const std::string v = verdictOf(env, dropped);
    if (v != "feasible") failure = "member " + std::to_string(k) + " dropped: " + v;
  }
  QVNfreeprob(env, &p);
  std::remove(dropped.c_str());
  return failure;
}

class ConflictTest : public ProblemFixture {};

void appendText(void *handle, const char *text) { *static_cast<std::string *>(handle) += text; }

// x + y <= 1 with x >= 1 and y >= 1 cannot hold; the row x - z >= -5 and the
// bound z <= 4 have nothing to do with it.
LpModel smallInfeasible() {
  LpModel m;
  const int x = m.addCol(1, 1, 1e20), y = m.addCol(1, 1, 1e20), z = m.addCol(0, 0, 4);
  const int r0 = m.addRow('L', 1), r1 = m.addRow('G', -5);
  m.set(r0, x, 1), m.set(r0, y, 1);
  m.set(r1, x, 1), m.set(r1, z, -1);
  return m;
}

TEST_F(ConflictTest, SmallModelStatusesAndGetters) {
  ASSERT_EQ(smallInfeasible().load(env, lp), 0);
  int st = 0;
  EXPECT_EQ(QVNgetconflict(env, lp, &st, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            QVNERR_CONFLICT_UNAVAILABLE);
  EXPECT_NE(takeErrors().find("Conflict is not available"), std::string::npos);
  std::string text;
  QVNCHANNELptr res, warn, err, logc;
  QVNgetchannels(env, &res, &warn, &err, &logc);
  QVNaddfuncdest(env, logc, &text, appendText);
  int nr = -1, nc = -1;
  ASSERT_EQ(QVNrefineconflict(env, lp, &nr, &nc), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_MINIMAL);
  EXPECT_EQ(nr, 1);
  EXPECT_EQ(nc, 2);
  const Conflict c = readConflict(env, lp);
  EXPECT_EQ(c.status, 31);
  EXPECT_EQ(c.rows, std::vector<int>({0}));
  EXPECT_EQ(c.rowStatus, std::vector<int>({QVN_CONFLICT_MEMBER}));
  EXPECT_EQ(c.cols, std::vector<int>({0, 1}));
  EXPECT_EQ(c.colStatus, std::vector<int>({QVN_CONFLICT_LB, QVN_CONFLICT_LB}));
  EXPECT_NE(text.find("\nRefine conflict on 6 members...\n\n Iteration  Max Members  Min Members\n"),
            std::string::npos) << text;
  // The groups of the plain form: rows, lower bounds, upper bounds.
  int groups[2 + 3 + 3];
  ASSERT_EQ(QVNgetconflictext(env, lp, groups, 0, 7), 0);
  EXPECT_EQ(std::vector<int>(groups, groups + 8), std::vector<int>({3, -1, 3, 3, -1, -1, -1, -1}));
  EXPECT_EQ(QVNgetconflictext(env, lp, groups, 0, 8), QVNERR_INDEX_RANGE_HIGH);

  // The file holds the conflict, and it is infeasible by itself and minimal.
  const std::string file = tempName("small");
  ASSERT_EQ(QVNclpwrite(env, lp, file.c_str()), 0);
  const std::string written = fileText(file);
  EXPECT_NE(written.find("\\Problem name: test_conflict"), std::string::npos) << written;
  EXPECT_EQ(verdictOf(env, file), "infeasible");
  EXPECT_EQ(checkMinimal(env, file), "");
  std::remove(file.c_str());

  // A change of the model drops the conflict.
  const double one = 2.0;
  const int row = 0;
  ASSERT_EQ(QVNchgrhs(env, lp, 1, &row, &one), 0);
  EXPECT_EQ(QVNgetconflict(env, lp, &st, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            QVNERR_CONFLICT_UNAVAILABLE);
  takeErrors();

  // Now feasible: status 30, no table in the log, no members.
  text.clear();
  ASSERT_EQ(QVNrefineconflict(env, lp, &nr, &nc), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_FEASIBLE);
  EXPECT_EQ(nr + nc, 0);
  EXPECT_EQ(text.find("Refine conflict"), std::string::npos);
  QVNdelfuncdest(env, logc, &text, appendText);
}

TEST_F(ConflictTest, EqualityRowsSummedAsComment) {
  // x + y = 1, x - y = 3, y >= 0, x <= 1: x = 2 from the equalities.
  LpModel m;
  const int x = m.addCol(0, 0, 1), y = m.addCol(0, 0, 1e20);
  const int r0 = m.addRow('E', 1), r1 = m.addRow('E', 3);
  m.set(r0, x, 1), m.set(r0, y, 1), m.set(r1, x, 1), m.set(r1, y, -1);
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNrefineconflict(env, lp, nullptr, nullptr), 0);
  EXPECT_EQ(QVNgetstat(env, lp), 31);
  const std::string file = tempName("sum");
  ASSERT_EQ(QVNclpwrite(env, lp, file.c_str()), 0);
  const std::string text = fileText(file);
  EXPECT_NE(text.find("\\Sum of equality rows in the conflict:\n\\ c3: 2 x1  = 4\n"), std::string::npos) << text;
  EXPECT_EQ(verdictOf(env, file), "infeasible");
  EXPECT_EQ(checkMinimal(env, file), "");
  std::remove(file.c_str());
  EXPECT_EQ(QVNclpwrite(env, lp, nullptr), QVNERR_NO_FILENAME_GIVEN);
  takeErrors();
}

TEST_F(ConflictTest, CallerStateAndParametersUnchanged) {
  ASSERT_EQ(smallInfeasible().load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 2), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_TILIM, 1000.0), 0);
  ASSERT_EQ(QVNprimopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
  std::vector<double> before(3), after(3);
  ASSERT_EQ(QVNgetx(env, lp, before.data(), 0, 2), 0);
  const std::string modelBefore = tempName("before"), modelAfter = tempName("after");
  ASSERT_EQ(QVNlpwrite(env, lp, modelBefore.c_str()), 0);
  int changed[300], countBefore = 0, countAfter = 0;
  ASSERT_EQ(QVNgetchgparams(env, &countBefore, changed), 0);
  ASSERT_EQ(QVNrefineconflict(env, lp, nullptr, nullptr), 0);
  ASSERT_EQ(QVNgetx(env, lp, after.data(), 0, 2), 0);
  EXPECT_EQ(before, after);
  ASSERT_EQ(QVNlpwrite(env, lp, modelAfter.c_str()), 0);
  EXPECT_EQ(fileText(modelBefore), fileText(modelAfter));
  ASSERT_EQ(QVNgetchgparams(env, &countAfter, changed), 0);
  EXPECT_EQ(countBefore, countAfter);
  int display = 0;
  double tilim = 0.0;
  QVNgetintparam(env, QVN_PARAM_SIMDISPLAY, &display);
  QVNgetdblparam(env, QVN_PARAM_TILIM, &tilim);
  EXPECT_EQ(display, 2);
  EXPECT_EQ(tilim, 1000.0);
  EXPECT_EQ(QVNgetnumrows(env, lp), 2);
  EXPECT_EQ(QVNgetnumcols(env, lp), 3);
  std::remove(modelBefore.c_str());
  std::remove(modelAfter.c_str());
}

int countCalls(QVNCENVptr, void *, int, void *handle, int *action) {
  ++*static_cast<int *>(handle);
  *action = 0;
  return 0;
}

// Rows kept beside the model and the MIP callbacks stay out of the tests,
// which solve renumbered copies; the caller is warned, and gets both back.
TEST_F(ConflictTest, LazyRowsUserCutsAndCallbacksStayOutAndComeBack) {
  ASSERT_EQ(smallInfeasible().load(env, lp), 0);
  const char types[] = {'I', 'I', 'C'};
  ASSERT_EQ(QVNcopyctype(env, lp, types), 0);
  // x + z <= 100 as a lazy row and x <= 50 as a user cut: both hold at every
  // point the conflict is about, so they cannot change it.
  const double rhs[1] = {100};
  const char sense[1] = {'L'};
  const int start[1] = {0}, index[2] = {0, 2};
  const double value[2] = {1, 1}, cutRhs[1] = {50};
  char cap[] = "cap";
  char *lazyName[1] = {cap};
  ASSERT_EQ(QVNaddlazyconstraints(env, lp, 1, 2, rhs, sense, start, index, value, lazyName), 0);
  ASSERT_EQ(QVNaddusercuts(env, lp, 1, 1, cutRhs, sense, start, index, value, nullptr), 0);
  int calls = 0;
  ASSERT_EQ(QVNsetcutcallbackfunc(env, countCalls, &calls), 0);
  std::string warnings;
  QVNCHANNELptr res, warn, err, logc;
  QVNgetchannels(env, &res, &warn, &err, &logc);
  QVNaddfuncdest(env, warn, &warnings, appendText);
  ASSERT_EQ(QVNrefineconflict(env, lp, nullptr, nullptr), 0);
  QVNdelfuncdest(env, warn, &warnings, appendText);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_MINIMAL);
  EXPECT_EQ(calls, 0);
  for (const char *line : {"Warning:  Lazy constraints ignored during conflict refinement.\n",
                           "Warning:  User cuts ignored during conflict refinement.\n",
                           "Warning:  Cut callback ignored during conflict refinement.\n"})
    EXPECT_NE(warnings.find(line), std::string::npos) << line << warnings;
  QVNcutcallbackfunc back = nullptr;
  void *handle = nullptr;
  ASSERT_EQ(QVNgetcutcallbackfunc(env, &back, &handle), 0);
  EXPECT_EQ(back, countCalls);
  EXPECT_EQ(handle, &calls);
  char *names[1];
  char store[16];
  int surplus = 0;
  ASSERT_EQ(QVNEgetlazyconstraintname(env, lp, names, store, sizeof store, &surplus, 0, 0), 0);
  EXPECT_STREQ(names[0], "cap");
  const std::string file = tempName("lazy");
  ASSERT_EQ(QVNclpwrite(env, lp, file.c_str()), 0);
  EXPECT_EQ(verdictOf(env, file), "infeasible");
  std::remove(file.c_str());
  QVNsetcutcallbackfunc(env, nullptr, nullptr);
}

TEST_F(ConflictTest, TimeLimitKeepsPartialSet) {
  ASSERT_EQ(smallInfeasible().load(env, lp), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_TILIM, 0.0), 0);
  ASSERT_EQ(QVNrefineconflict(env, lp, nullptr, nullptr), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_ABORT_TIME_LIM);
  const Conflict c = readConflict(env, lp);
  EXPECT_EQ(c.status, 33);
  // Nothing was tested: every member is still possible, and the set is the whole model.
  EXPECT_EQ(c.rows.size(), 2u);
  for (int s : c.rowStatus) EXPECT_EQ(s, QVN_CONFLICT_POSSIBLE_MEMBER);
  EXPECT_EQ(c.cols.size(), 3u);
  const std::string file = tempName("partial");
  ASSERT_EQ(QVNclpwrite(env, lp, file.c_str()), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_TILIM, 1e75), 0);
  EXPECT_EQ(verdictOf(env, file), "infeasible");
  std::remove(file.c_str());
}

TEST_F(ConflictTest, GroupsFollowPreferencesAndBadArguments) {
  // Two separate causes: rows 0,1 (x >= 2 and x <= 1) and rows 2,3 (y >= 2, y <= 1).
  LpModel m;
  const int x = m.addCol(0, -1e20, 1e20), y = m.addCol(0, -1e20, 1e20);
  for (int k = 0; k < 4; ++k) m.addRow(k % 2 == 0 ? 'G' : 'L', k % 2 == 0 ? 2 : 1);
  m.set(0, x, 1), m.set(1, x, 1), m.set(2, y, 1), m.set(3, y, 1);
  ASSERT_EQ(m.load(env, lp), 0);
  const int begin[2] = {0, 2}, index[4] = {0, 1, 2, 3};
  const int kind[4] = {QVN_CON_LINEAR, QVN_CON_LINEAR, QVN_CON_LINEAR, QVN_CON_LINEAR};
  for (int first = 0; first < 2; ++first) {
    const double pref[2] = {first == 0 ? 1.0 : 2.0, first == 0 ? 2.0 : 1.0};
    ASSERT_EQ(QVNrefineconflictext(env, lp, 2, 4, pref, begin, index, kind), 0);
    EXPECT_EQ(QVNgetstat(env, lp), 31);
    int gs[2];
    ASSERT_EQ(QVNgetconflictext(env, lp, gs, 0, 1), 0);
    EXPECT_EQ(gs[first], QVN_CONFLICT_MEMBER);
    EXPECT_EQ(gs[1 - first], QVN_CONFLICT_EXCLUDED);
  }
  const double pref[2] = {1, 1}, nanPref[2] = {NAN, 1};
  const int badIndex[4] = {0, 1, 2, 4}, badKind[4] = {QVN_CON_LINEAR, 9, QVN_CON_LINEAR, QVN_CON_LINEAR};
  const int badBegin[2] = {3, 2};
  EXPECT_EQ(QVNrefineconflictext(env, lp, 2, 4, pref, begin, badIndex, kind), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNrefineconflictext(env, lp, 2, 4, pref, begin, index, badKind), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNrefineconflictext(env, lp, 2, 4, pref, badBegin, index, kind), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNrefineconflictext(env, lp, 2, 4, nanPref, begin, index, kind), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNrefineconflictext(env, lp, 2, 4, nullptr, begin, index, kind), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNrefineconflict(env, nullptr, nullptr, nullptr), QVNERR_NO_PROBLEM);
  takeErrors();
  // The failed calls kept the last result.
  EXPECT_EQ(QVNgetstat(env, lp), 31);
}

// ---- models from the shared collection --------------------------------------

struct Made {
  std::string what;
  int rows = 0, cols = 0;
};

// The model with a row c'x <= optimum - gap (minimization).
int capObjective(QVNENVptr env, QVNLPptr lp, double optimum, double gap) {
  const int n = QVNgetnumcols(env, lp);
  std::vector<double> c(static_cast<size_t>(n));
  QVNgetobj(env, lp, c.data(), 0, n - 1);
  std::vector<int> idx;
  std::vector<double> val;
  for (int j = 0; j < n; ++j)
    if (c[j] != 0.0) idx.push_back(j), val.push_back(c[j]);
  const int start = 0;
  const double rhs = optimum - gap;
  const char sense = 'L';
  char name[] = "objcap";
  char *names[] = {name};
  return QVNaddrows(env, lp, 0, 1, static_cast<int>(idx.size()), &rhs, &sense, &start, idx.data(), val.data(),
                    nullptr, names);
}

// Raises the lower bound of the first column (from `from`) that the rows
// bound above, past that largest value; -1 when none of a few tries works.
int boundPastRows(QVNENVptr env, QVNLPptr lp, int from) {
  const int n = QVNgetnumcols(env, lp);
  int status = 0;
  for (int tries = 0, j = from; tries < 20 && j < n; ++tries, j += 7) {
    QVNLPptr q = QVNcloneprob(env, lp, &status);
    std::vector<double> zero(static_cast<size_t>(n), 0.0);
    std::vector<int> all(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) all[k] = k;
    QVNchgobj(env, q, n, all.data(), zero.data());
    const double one = 1.0;
    QVNchgobj(env, q, 1, &j, &one);
    QVNchgobjsen(env, q, QVN_MAX);
    QVNlpopt(env, q);
    double top = 0.0, ub = 0.0;
    const int stat = QVNgetstat(env, q);
    QVNgetobjval(env, q, &top);
    QVNfreeprob(env, &q);
    QVNgetub(env, lp, &ub, j, j);
    if (stat != QVN_STAT_OPTIMAL || top + 1.0 >= ub) continue;  // unbounded, or held by its own bound
    const double lb = top + 1.0 + 1e-3 * std::fabs(top);
    const char kind = 'L';
    QVNchgbds(env, lp, 1, &j, &kind, &lb);
    return j;
  }
  return -1;
}

class ConflictCollectionTest : public EnvFixture {};

struct Case {
  std::string model;
  bool mip;
  int variant;  // 0 objective capped, 1 a lower bound moved past what the rows allow
};

// Refines the case's infeasible model; checks the written conflict and
// reports its size. False when the case could not be made.
bool runCase(QVNENVptr env, const std::string &dir, const Case &c) {
  SCOPED_TRACE(c.model + (c.variant == 0 ? " objective capped" : " bound moved"));
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, c.model.c_str());
  const std::string sub = c.mip ? "/miplib3/" : "/netlib/";
  EXPECT_EQ(QVNreadcopyprob(env, lp, (dir + sub + c.model + ".mps.gz").c_str(), nullptr), 0);
  const int rows = QVNgetnumrows(env, lp), cols = QVNgetnumcols(env, lp);
  const auto optima = referenceOptima(c.mip ? "miplib3" : "netlib");
  EXPECT_EQ(optima.count(c.model), 1u);
  const double optimum = optima.count(c.model) ? optima.at(c.model) : 0.0;
  if (c.variant == 0) {
    // The MIPLIB models here have integer objectives: one unit below is out of reach.
    const double gap = c.mip ? 1.0 : 1e-3 * std::fabs(optimum) + 1e-2;
    EXPECT_EQ(capObjective(env, lp, optimum, gap), 0);
  } else if (boundPastRows(env, lp, 0) < 0) {
    QVNfreeprob(env, &lp);
    return false;
  }
  const auto t0 = std::chrono::steady_clock::now();
  int nr = 0, nc = 0;
  EXPECT_EQ(QVNrefineconflict(env, lp, &nr, &nc), 0);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const int stat = QVNgetstat(env, lp);
  EXPECT_EQ(stat, QVN_STAT_CONFLICT_MINIMAL);
  std::printf("[ conflict ] %-9s %-7s rows %5d cols %5d -> conflict rows %4d cols %4d  %.2fs\n", c.model.c_str(),
              c.variant == 0 ? "objcap" : "bound", rows, cols, nr, nc, seconds);
  std::fflush(stdout);
  const std::string file = tempName(c.model.c_str());
  EXPECT_EQ(QVNclpwrite(env, lp, file.c_str()), 0);
  EXPECT_EQ(verdictOf(env, file), "infeasible");
  if (stat == QVN_STAT_CONFLICT_MINIMAL) { EXPECT_EQ(checkMinimal(env, file), ""); }
  std::remove(file.c_str());
  QVNfreeprob(env, &lp);
  return true;
}

void quiet(QVNENVptr env) {
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  QVNsetintparam(env, QVN_PARAM_CONFLICTDISPLAY, 0);
}

TEST_F(ConflictCollectionTest, NetlibConflictsAreInfeasibleAndMinimal) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared test models absent";
  quiet(env);
  const char *lps[] = {"afiro", "sc50b",  "sc105",  "blend",  "kb2",     "share2b", "recipe",
                       "stocfor1", "scagr7", "israel", "boeing2"};
  int made = 0;
  for (const char *name : lps)
    for (int v = 0; v < 2; ++v) made += runCase(env, dir, {name, false, v});
  EXPECT_GE(made, 20);
}

TEST_F(ConflictCollectionTest, MiplibObjectiveCapConflict) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared test models absent";
  quiet(env);
  EXPECT_TRUE(runCase(env, dir, {"p0033", true, 0}));
}

} // namespace
} // namespace qvntest
