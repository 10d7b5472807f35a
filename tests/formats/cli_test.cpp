// The quorvan command-line tool, run as a separate process next to the tests.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::FormatFixture;

class Cli : public FormatFixture {
protected:
  void SetUp() override {
    FormatFixture::SetUp();
    tool = (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "apps" / "quorvan").string();
    if (!std::filesystem::exists(tool)) GTEST_SKIP() << "tool not built";
  }
  // Runs the tool with `args`; returns its exit code, output in `out`.
  int run(const std::string &args, std::string &out) {
    const std::string command = tool + " " + args + " 2>&1";
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    out.clear();
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string tool;
};

TEST_F(Cli, ConvertStatsAndErrors) {
  std::string out;
  EXPECT_EQ(run("--help", out), 0);
  EXPECT_NE(out.find("convert IN OUT"), std::string::npos);
  EXPECT_NE(run("", out), 0);
  EXPECT_NE(out.find("no command given"), std::string::npos);
  EXPECT_NE(run("frobnicate x", out), 0);
  EXPECT_NE(run("convert onlyone", out), 0);
  EXPECT_NE(out.find("convert takes 2 files"), std::string::npos);

  const std::string lp = writeFile("m.lp",
                                   "Minimize\n obj: x + 2 y\nSubject To\n c1: x + y >= 1\n c2: 0.5 x - 3e5 y <= 4\n"
                                   "Bounds\n y <= 7\nGenerals\n y\nEnd\n");
  ASSERT_EQ(run("convert " + lp + " " + path("m.mps.gz"), out), 0) << out;
  ASSERT_EQ(run("stats " + path("m.mps.gz"), out), 0) << out;
  EXPECT_NE(out.find("  rows               2\n"), std::string::npos) << out;
  EXPECT_NE(out.find("  columns            2\n"), std::string::npos);
  EXPECT_NE(out.find("  nonzeros           4\n"), std::string::npos);
  EXPECT_NE(out.find("  integers           1 (0 binary)\n"), std::string::npos);
  EXPECT_NE(out.find("  matrix             [5e-01, 3e+05]\n"), std::string::npos) << out;
  EXPECT_NE(out.find("  bounds             [7e+00, 7e+00]\n"), std::string::npos) << out;

  EXPECT_EQ(run("stats " + path("absent.mps"), out), 1);
  EXPECT_NE(out.find("Could not open file"), std::string::npos) << out;
  EXPECT_EQ(run("stats " + writeFile("bad.lp", "Minimum\n x\nEnd\n"), out), 1);
  EXPECT_NE(out.find("Max or Min missing"), std::string::npos) << out;
  EXPECT_EQ(run("convert " + lp + " " + path("out.txt"), out), 1);
  EXPECT_NE(out.find("Invalid filetype"), std::string::npos) << out;
  EXPECT_EQ(run("--outformat LP convert " + lp + " " + path("out.txt"), out), 0) << out;
}

} // namespace qvn

namespace qvn {

// An error whose text names a word prints it filled in, never the raw
// placeholder: a quadratic objective that is not convex is refused with 5002.
TEST_F(Cli, ErrorTextsWithAWordAreFilledIn) {
  const std::string lp = writeFile("nonconvex.lp", "Minimize\n obj: [ - x ^ 2 ] / 2\nSubject To\n c: x <= 1\nEnd\n");
  std::string out;
  EXPECT_EQ(run("solve " + lp, out), 1) << out;
  EXPECT_NE(out.find("5002"), std::string::npos) << out;
  EXPECT_EQ(out.find("%s"), std::string::npos) << out;
}

TEST_F(Cli, SolveReportsSummaryAndRejectsBadOptions) {
  const std::string model = std::string(QUORVAN_SOURCE_DIR) + "/examples/production.lp";
  std::string out;
  ASSERT_EQ(run("solve " + model + " --method primal", out), 0) << out;
  EXPECT_NE(out.find("Status: optimal\n"), std::string::npos) << out;
  EXPECT_NE(out.find("Objective: 10.5\n"), std::string::npos) << out;
  EXPECT_NE(out.find("Iterations: "), std::string::npos);
  EXPECT_NE(out.find("Time: "), std::string::npos);
  ASSERT_EQ(run("solve " + model + " --quiet --param QVN_PARAM_LPMETHOD=2", out), 0) << out;
  EXPECT_EQ(out.find("Iteration log"), std::string::npos);
  EXPECT_NE(out.find("Objective: 10.5\n"), std::string::npos) << out;

  // Any status is a successful run; an iteration limit of 0 stops at once.
  ASSERT_EQ(run("solve " + model + " --iteration-limit 0 --quiet", out), 0) << out;
  EXPECT_NE(out.find("Status: iteration limit exceeded\n"), std::string::npos) << out;

  EXPECT_EQ(run("solve " + model + " --method simplex", out), 2);
  EXPECT_NE(out.find("unknown method"), std::string::npos);
  EXPECT_EQ(run("solve " + model + " --param QVN_PARAM_NOSUCH=1", out), 2);
  EXPECT_NE(out.find("unknown parameter"), std::string::npos);
  EXPECT_EQ(run("solve " + model + " --param QVN_PARAM_ITLIM=-4", out), 2);
  EXPECT_NE(out.find("Parameter value too small"), std::string::npos) << out;
  EXPECT_EQ(run("solve /nonexistent/model.lp", out), 1);
  EXPECT_EQ(run("solve", out), 2);
}

} // namespace qvn
