// The dual written by QVNdualwrite, read back and solved, has the optimum
// that strong duality demands: the primal optimum equals shift - D (shift + D
// for a maximization), on models with every kind of row and bound.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "formats/format_test_support.h"

namespace qvntest {
namespace {

class DualWriter : public FormatFixture {
protected:
  // Solves `lp`, writes its dual, solves that; both optima, or NaN on failure.
  void optima(QVNLPptr lp, double *primal, double *fromDual) {
    *primal = *fromDual = std::nan("");
    QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    ASSERT_EQ(QVNgetobjval(env, lp, primal), 0);
    double shift = 0.0;
    ASSERT_EQ(QVNdualwrite(env, lp, path("dual.mps").c_str(), &shift), 0);
    int status = 0;
    QVNLPptr d = QVNcreateprob(env, &status, "dual");
    ASSERT_EQ(QVNreadcopyprob(env, d, path("dual.mps").c_str(), nullptr), 0);
    ASSERT_EQ(QVNprimopt(env, d), 0);
    EXPECT_EQ(QVNgetstat(env, d), QVN_STAT_OPTIMAL);
    double D = 0.0;
    EXPECT_EQ(QVNgetobjval(env, d, &D), 0);
    *fromDual = shift - QVNgetobjsen(env, lp) * D;
    QVNfreeprob(env, &d);
  }
};

TEST_F(DualWriter, StrongDualityOnRowsAndBoundsOfEveryKind) {
  // Ranged rows of both signs, a fixed column, a free column, columns bounded
  // above only and below only, a negative lower bound; minimized and maximized.
  const std::string mps =
      "NAME          kinds\nROWS\n N  obj\n G  r1\n L  r2\n E  r3\n G  r4\n L  r5\n G  r6\nCOLUMNS\n"
      "    a  obj  2  r1  1\n    a  r2  1  r4  1\n    a  r5  1\n"
      "    b  obj  -1  r1  1\n    b  r3  1\n"
      "    c  obj  1  r1  1\n    c  r3  1\n    c  r6  1\n"
      "    d  obj  3  r2  -1\n    d  r3  1\n    d  r5  2\n"
      "    g  obj  -1  r2  1\n    g  r4  1\n    g  r6  -1\n"
      "    h  obj  1  r3  1\n    h  r4  -1\n    h  r5  1\n    h  r6  2\n"
      "RHS\n    rhs  r1  2  r2  7\n    rhs  r3  4  r4  -3\n    rhs  r5  9  r6  -6\n"
      "RANGES\n    rng  r4  8  r5  -4\nBOUNDS\n UP bnd  a  4\n MI bnd  b\n UP bnd  b  3\n FX bnd  c  1.5\n"
      " FR bnd  d\n LO bnd  g  -2\n UP bnd  g  6\n LO bnd  h  0.5\nENDATA\n";
  for (int sense : {1, -1}) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "kinds");
    ASSERT_EQ(QVNreadcopyprob(env, lp, writeFile("kinds.mps", mps).c_str(), nullptr), 0);
    ASSERT_EQ(QVNchgobjsen(env, lp, sense), 0);
    double primal, fromDual;
    optima(lp, &primal, &fromDual);
    EXPECT_NEAR(fromDual, primal, 1e-9 * std::max(1.0, std::fabs(primal))) << sense;
    // The fixed column c shows only through the shift on the name line.
    std::ifstream in(path("dual.mps"));
    std::string first;
    std::getline(in, first);
    EXPECT_NE(first.find("kinds.mps.dual (objshift ="), std::string::npos) << first;
    std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(all.find("\n c "), std::string::npos) << "a fixed column gets no dual row";
    QVNfreeprob(env, &lp);
  }
}

TEST_F(DualWriter, NetlibModelsAndRefusals) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "no shared data";
  for (const char *name : {"afiro", "boeing1", "sc50b", "share2b", "recipe", "forplan"}) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, name);
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/netlib/" + name + ".mps.gz").c_str(), nullptr), 0) << name;
    double primal, fromDual;
    optima(lp, &primal, &fromDual);
    EXPECT_NEAR(fromDual, primal, 1e-7 * std::max(1.0, std::fabs(primal))) << name;
    QVNfreeprob(env, &lp);
  }
  int status = 0;
  QVNLPptr mip = QVNcreateprob(env, &status, "mip");
  ASSERT_EQ(QVNreadcopyprob(env, mip, writeFile("m.lp", "Minimize\n x\nSubject To\n c: x >= 1\nGenerals\n x\nEnd\n").c_str(),
                            nullptr),
            0);
  EXPECT_EQ(QVNdualwrite(env, mip, path("m.mps").c_str(), nullptr), QVNERR_NOT_FOR_MIP);
  EXPECT_EQ(QVNdualwrite(env, mip, nullptr, nullptr), QVNERR_NO_FILENAME_GIVEN);
  EXPECT_FALSE(std::filesystem::exists(path("m.mps")));
  QVNfreeprob(env, &mip);
}

} // namespace
} // namespace qvntest
