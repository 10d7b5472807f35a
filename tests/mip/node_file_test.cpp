// Node files under a tiny WORKMEM: every mode reaches the enumerated optimum,
// the file modes write into a directory of their own that is gone once the
// tree is, and the memory modes write nothing.
#include <gtest/gtest.h>
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

void appendText(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

bool exists(const std::string &path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

// Removes the files of a directory, not the directory; the count removed.
int emptyDirectory(const std::string &directory) {
  DIR *d = opendir(directory.c_str());
  if (!d) return 0;
  int removed = 0;
  for (int guard = 0; guard < 100000; ++guard) {
    const dirent *e = readdir(d);
    if (!e) break;
    const std::string name = e->d_name;
    if (name == "." || name == "..") continue;
    if (std::remove((directory + "/" + name).c_str()) == 0) ++removed;
  }
  closedir(d);
  return removed;
}

class NodeFileTest : public ProblemFixture {};

TEST_F(NodeFileTest, EveryModeReachesTheOptimumAndLeavesNoDirectory) {
  const MipModel m = knapsack(21, 18);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  std::string work = testing::TempDir();
  if (!work.empty() && work.back() == '/') work.pop_back();
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  QVNsetintparam(env, QVN_PARAM_VARSEL, 1);
  QVNsetintparam(env, QVN_PARAM_NODESEL, 1);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);  // root cuts would shrink the tree below the memory
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);  // and so would an early incumbent
  QVNsetdblparam(env, QVN_PARAM_WORKMEM, 0.002);  // about two thousand bytes of nodes
  ASSERT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, work.c_str()), 0);
  QVNCHANNELptr results = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &results, nullptr, nullptr, nullptr), 0);
  for (int mode = 0; mode <= 3; ++mode) {
    const std::string what = "mode " + std::to_string(mode);
    QVNsetintparam(env, QVN_PARAM_NODEFILEIND, mode);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    std::string log;
    ASSERT_EQ(QVNaddfuncdest(env, results, &log, appendText), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    QVNdelfuncdest(env, results, &log, appendText);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
    double objective = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_TRUE(sameObjective(objective, optimum)) << what << ": " << objective << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    const std::string mark = "Began writing nodes to disk (directory ";
    const size_t at = log.find(mark);
    if (mode < 2) {
      EXPECT_EQ(at, std::string::npos) << what << log;
      continue;
    }
    ASSERT_NE(at, std::string::npos) << what << ": the tree never outgrew the memory\n" << log;
    const size_t begin = at + mark.size(), end = log.find(" created)", begin);
    ASSERT_NE(end, std::string::npos);
    const std::string directory = log.substr(begin, end - begin);
    EXPECT_EQ(directory.rfind(work + "/qvn", 0), 0u) << directory;
    EXPECT_FALSE(exists(directory)) << what << ": " << directory << " left behind";
  }
  // A run stopped by a node limit keeps its files for the resume; freeing the
  // problem takes them and the directory.
  QVNsetintparam(env, QVN_PARAM_NODEFILEIND, 3);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 35);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  std::string log;
  ASSERT_EQ(QVNaddfuncdest(env, results, &log, appendText), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  QVNdelfuncdest(env, results, &log, appendText);
  const int status = QVNgetstat(env, lp);
  EXPECT_TRUE(status == QVN_STAT_MIP_NODE_LIM_FEAS || status == QVN_STAT_MIP_NODE_LIM_INFEAS)
      << status << " after " << QVNgetnodecnt(env, lp) << " nodes";
  const std::string mark = "Began writing nodes to disk (directory ";
  const size_t at = log.find(mark);
  ASSERT_NE(at, std::string::npos) << log;
  const size_t begin = at + mark.size();
  const std::string directory = log.substr(begin, log.find(" created)", begin) - begin);
  EXPECT_TRUE(exists(directory)) << directory;
  ASSERT_EQ(QVNfreeprob(env, &lp), 0);
  EXPECT_FALSE(exists(directory)) << directory << " left behind";
}

TEST_F(NodeFileTest, LogShowsTheFileSizeAndALostFileEndsTheTree) {
  const MipModel m = knapsack(21, 18);
  std::string work = testing::TempDir();
  if (!work.empty() && work.back() == '/') work.pop_back();
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 2);
  QVNsetintparam(env, QVN_PARAM_MIPINTERVAL, 1);
  QVNsetintparam(env, QVN_PARAM_VARSEL, 1);
  QVNsetintparam(env, QVN_PARAM_NODESEL, 1);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);  // the tree must outgrow the memory
  QVNsetdblparam(env, QVN_PARAM_WORKMEM, 0.002);
  ASSERT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, work.c_str()), 0);
  QVNCHANNELptr results = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &results, nullptr, nullptr, nullptr), 0);
  // Compressed blocks: the size line after an elapsed line names both sizes.
  QVNsetintparam(env, QVN_PARAM_NODEFILEIND, 1);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  std::string log;
  ASSERT_EQ(QVNaddfuncdest(env, results, &log, appendText), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  QVNdelfuncdest(env, results, &log, appendText);
  const size_t line = log.find("Nodefile size = ");
  ASSERT_NE(line, std::string::npos) << log;
  EXPECT_NE(log.find(" MB after compression)\n", line), std::string::npos) << log.substr(line, 80);
  EXPECT_NE(log.rfind("Elapsed time = ", line), std::string::npos);
  // Files whose blocks vanish before they are read back: the run cannot
  // vouch for what they held, so it ends without a tree.
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  QVNsetintparam(env, QVN_PARAM_NODEFILEIND, 2);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 35);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  log.clear();
  ASSERT_EQ(QVNaddfuncdest(env, results, &log, appendText), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  QVNdelfuncdest(env, results, &log, appendText);
  const std::string mark = "Began writing nodes to disk (directory ";
  const size_t at = log.find(mark);
  ASSERT_NE(at, std::string::npos) << log;
  const size_t begin = at + mark.size();
  const std::string directory = log.substr(begin, log.find(" created)", begin) - begin);
  ASSERT_GT(emptyDirectory(directory), 0) << directory;
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
  EXPECT_EQ(QVNmipopt(env, lp), 1802);
  EXPECT_NE(takeErrors().find("Failure on temporary file read"), std::string::npos);
  const int status = QVNgetstat(env, lp);
  double z = 0.0;
  const bool incumbent = QVNgetobjval(env, lp, &z) == 0;
  EXPECT_EQ(status, incumbent ? 116 : 117);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  EXPECT_FALSE(exists(directory)) << directory << " left behind";
  EXPECT_EQ(QVNmipopt(env, lp), QVNERR_NO_MEMORY);
  takeErrors();
}

} // namespace
} // namespace qvntest
