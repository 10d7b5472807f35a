// `quorvan solve` on a MIP: node log, summary lines, options and the
// solution file, checked against enumeration and the solution checker.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "formats/format_test_support.h"
#include "mip/mip_check.h"

namespace qvntest {
namespace {

class MipCli : public FormatFixture {
protected:
  void SetUp() override {
    FormatFixture::SetUp();
    tool = (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "apps" / "quorvan").string();
    if (!std::filesystem::exists(tool)) GTEST_SKIP() << "tool not built";
    int status = 0;
    lp = QVNcreateprob(env, &status, "cli");
    ASSERT_NE(lp, nullptr);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    FormatFixture::TearDown();
  }
  int run(const std::string &args, std::string &out) {
    FILE *pipe = popen((tool + " " + args + " 2>&1").c_str(), "r");
    if (!pipe) return -1;
    out.clear();
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  static double field(const std::string &out, const std::string &key) {
    const size_t at = out.find("\n" + key + ": ");
    return at == std::string::npos ? -1e300 : std::atof(out.c_str() + at + key.size() + 3);
  }
  std::string tool;
  QVNLPptr lp = nullptr;
};

TEST_F(MipCli, SolvesPrintsTheNodeLogAndWritesTheIncumbent) {
  const std::string file = writeFile("small.lp",
                                     "Maximize\n obj: 5 x + 4 y + 3 z + w\nSubject To\n c1: 2 x + 3 y + z + w <= 5.5\n"
                                     " c2: 4 x + y + 2 z <= 11\n c3: 3 x + 4 y + 2 z - w <= 8.5\nBounds\n"
                                     " x <= 10\n y <= 10\n z <= 10\n w <= 3\nGenerals\n x y z w\nEnd\n");
  // The optimum by enumeration of the model as the library reads it.
  ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0);
  const MipModel m = readMipModel(env, lp);
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  std::string out;
  const std::string sol = path("small.sol");
  ASSERT_EQ(run("solve " + file + " --param MIPINTERVAL=1 --solution " + sol, out), 0) << out;
  EXPECT_NE(out.find("\nNode log . . .\n"), std::string::npos) << out;
  EXPECT_NE(out.find("   Node  Left     Objective  IInf  Best Integer     Best Node    ItCnt     Gap"), std::string::npos);
  EXPECT_NE(out.find("\nStatus: integer optimal solution\n"), std::string::npos) << out;
  EXPECT_NEAR(field(out, "Objective"), optimum, 1e-9);
  EXPECT_NEAR(field(out, "Best bound"), optimum, 1e-9);
  EXPECT_EQ(field(out, "Gap"), 0.0);
  EXPECT_GE(field(out, "Nodes"), 0.0);
  // The solution file: one `column NAME VALUE` line per column.
  std::ifstream in(sol);
  std::string line;
  std::vector<double> x(m.lp.numCols(), 0.0);
  int columns = 0;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string kind, name;
    double value = 0;
    if (!(words >> kind >> name >> value) || kind != "column") continue;
    int index = -1;
    ASSERT_EQ(QVNgetcolindex(env, lp, name.c_str(), &index), 0) << name;
    x[index] = value;
    ++columns;
  }
  EXPECT_EQ(columns, m.lp.numCols());
  EXPECT_EQ(checkIntegerSolution(m, x, optimum, 1e-9), "");
  // The relaxation alone, a node limit and a gap; bad values are refused.
  ASSERT_EQ(run("solve " + file + " --relax --quiet", out), 0) << out;
  EXPECT_NE(out.find("Status: optimal\n"), std::string::npos) << out;
  EXPECT_GE(field(out, "Objective"), optimum - 1e-9);
  // Without the root heuristics nothing is found before the first node.
  ASSERT_EQ(run("solve " + file + " --node-limit 0 --param HEURFREQ=-1 --quiet", out), 0) << out;
  EXPECT_NE(out.find("Status: node limit exceeded"), std::string::npos) << out;
  ASSERT_EQ(run("solve " + file + " --gap 0.5 --quiet", out), 0) << out;
  EXPECT_NE(out.find("Status: integer optimal"), std::string::npos) << out;
  EXPECT_EQ(run("solve " + file + " --gap 2", out), 2);
  EXPECT_EQ(run("solve " + file + " --node-limit -1", out), 2);
  EXPECT_EQ(run("--help", out), 0);
  EXPECT_NE(out.find("--node-limit"), std::string::npos);
}

} // namespace
} // namespace qvntest
