#include "support/test_support.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <filesystem>
#include <fstream>
#include <sstream>

#include "runtime/debug_checks.h"

namespace qvntest {

namespace {
void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }
} // namespace

void EnvFixture::SetUp() {
  int status = -1;
  env = QVNopenQUORVAN(&status);
  ASSERT_NE(env, nullptr);
  ASSERT_EQ(status, 0);
  QVNCHANNELptr error = nullptr;
  ASSERT_EQ(QVNgetchannels(env, nullptr, nullptr, &error, nullptr), 0);
  ASSERT_EQ(QVNaddfuncdest(env, error, &errors, collect), 0);
}

void EnvFixture::TearDown() {
  if (env) {
    // A test that switched the debug checks on fails on whatever they found.
    EXPECT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);
    EXPECT_EQ(QVNcloseQUORVAN(&env), 0);
  }
}

std::string EnvFixture::takeErrors() {
  std::string out;
  out.swap(errors);
  return out;
}

void ProblemFixture::SetUp() {
  EnvFixture::SetUp();
  ASSERT_EQ(captureMessages(env, &log, true, true), 0);
  int status = 0;
  lp = QVNcreateprob(env, &status, "test");
  ASSERT_NE(lp, nullptr);
}

void ProblemFixture::TearDown() {
  QVNfreeprob(env, &lp);
  EnvFixture::TearDown();
}

int captureMessages(QVNENVptr env, std::string *text, bool results, bool warnings) {
  QVNCHANNELptr resultsChannel = nullptr, warningChannel = nullptr;
  int status = QVNgetchannels(env, &resultsChannel, &warningChannel, nullptr, nullptr);
  if (status == 0 && results) status = QVNaddfuncdest(env, resultsChannel, text, collect);
  if (status == 0 && warnings) status = QVNaddfuncdest(env, warningChannel, text, collect);
  return status;
}

std::string sharedDataDir() {
  const std::filesystem::path dir = std::filesystem::path(QUORVAN_SOURCE_DIR) / ".." / "shared" / "data";
  return std::filesystem::is_directory(dir) ? dir.lexically_normal().string() : std::string();
}

std::map<std::string, double> referenceOptima(const std::string &collection) {
  std::map<std::string, double> optima;
  const std::string dir = sharedDataDir();
  if (dir.empty()) return optima;
  std::ifstream in(dir + "/" + collection + "/reference.tsv");
  std::string line;
  for (int guard = 0; guard < 10000 && std::getline(in, line); ++guard) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string name, status;
    double value = 0.0;
    if (fields >> name >> status >> value && status == "optimal") optima[name] = value;
  }
  return optima;
}

#if defined(__SANITIZE_ADDRESS__)
LeakCheckPause::LeakCheckPause() { __lsan_disable(); }
LeakCheckPause::~LeakCheckPause() { __lsan_enable(); }
#else
LeakCheckPause::LeakCheckPause() = default;
LeakCheckPause::~LeakCheckPause() = default;
#endif

} // namespace qvntest
