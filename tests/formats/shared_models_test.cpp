// The public netlib and MIPLIB 3 models: every one reads, its sizes match the
// catalogue, and it survives MPS -> LP -> MPS -> LP unchanged.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::FormatFixture;

class SharedModels : public FormatFixture {
protected:
  std::vector<std::string> models(const char *set) {
    std::vector<std::string> files;
    const std::string root = qvntest::sharedDataDir();
    if (root.empty() || !std::filesystem::is_directory(root + "/" + set)) return files;
    for (const auto &e : std::filesystem::directory_iterator(root + "/" + set))
      if (e.path().string().ends_with(".mps.gz")) files.push_back(e.path().string());
    std::sort(files.begin(), files.end());
    return files;
  }
  static std::string stem(const std::string &file) {
    std::string name = std::filesystem::path(file).filename().string();
    return name.substr(0, name.find('.'));
  }
};

TEST_F(SharedModels, EveryModelReadsWithCatalogueSizes) {
  const auto netlib = models("netlib"), miplib = models("miplib3");
  if (netlib.empty() && miplib.empty()) GTEST_SKIP() << "shared data absent";
  for (const std::string &file : netlib) {
    ModelImage m;
    EXPECT_EQ(readModelImage(env, file.c_str(), nullptr, m), 0) << file << takeErrors();
    EXPECT_GT(m.numRows, 0) << file;
    EXPECT_GT(m.numNonzeros(), 0) << file;
  }
  std::map<std::string, std::vector<int>> reference;
  std::ifstream tsv(qvntest::sharedDataDir() + "/miplib3/reference.tsv");
  std::string line;
  while (std::getline(tsv, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string name, status, objective, relaxation;
    int rows = 0, cols = 0, integers = 0;
    fields >> name >> status >> objective >> relaxation >> rows >> cols >> integers;
    reference[name] = {rows, cols, integers};
  }
  for (const std::string &file : miplib) {
    ModelImage m;
    ASSERT_EQ(readModelImage(env, file.c_str(), nullptr, m), 0) << file << takeErrors();
    int integers = 0;
    for (char t : m.ctype) integers += t == 'B' || t == 'I' || t == 'N';
    const auto it = reference.find(stem(file));
    ASSERT_NE(it, reference.end()) << file;
    EXPECT_EQ(m.numRows, it->second[0]) << file;
    EXPECT_EQ(m.numCols, it->second[1]) << file;
    EXPECT_EQ(integers, it->second[2]) << file;
  }
}

TEST_F(SharedModels, RoundTripsKeepEveryNumberNameAndType) {
  std::vector<std::string> files = models("netlib");
  for (const auto &f : models("miplib3")) files.push_back(f);
  if (files.empty()) GTEST_SKIP() << "shared data absent";
#ifndef NDEBUG
  // Sanitizer builds run ten times slower: a sample of the smaller models.
  std::vector<std::string> sample;
  for (size_t k = 0; k < files.size(); k += 4)
    if (std::filesystem::file_size(files[k]) < 200000) sample.push_back(files[k]);
  files.swap(sample);
#endif
  const std::string lp1 = path("one.lp"), mps = path("two.mps.gz"), lp2 = path("three.lp");
  for (const std::string &file : files) {
    SCOPED_TRACE(file);
    ModelImage original, viaLp, viaMps, backToLp;
    ASSERT_EQ(readModelImage(env, file.c_str(), nullptr, original), 0);
    ASSERT_EQ(writeModelImage(env, original, lp1.c_str(), nullptr), 0);
    ASSERT_EQ(readModelImage(env, lp1.c_str(), nullptr, viaLp), 0) << takeErrors();
    // MPS -> LP: what LP can hold is kept; ranges come back as range
    // columns, and names that LP would merge (forplan) as generated ones
    EXPECT_EQ(qvntest::compareRoundTrip(original, viaLp, true), "");
    ASSERT_EQ(writeModelImage(env, viaLp, mps.c_str(), nullptr), 0);
    ASSERT_EQ(readModelImage(env, mps.c_str(), nullptr, viaMps), 0) << takeErrors();
    EXPECT_EQ(qvntest::compareRoundTrip(viaLp, viaMps, false), "");
    ASSERT_EQ(writeModelImage(env, viaMps, lp2.c_str(), nullptr), 0);
    ASSERT_EQ(readModelImage(env, lp2.c_str(), nullptr, backToLp), 0) << takeErrors();
    EXPECT_EQ(qvntest::compareRoundTrip(viaMps, backToLp, true), "");
    takeWarnings();
    takeResults();
  }
}

} // namespace qvn
