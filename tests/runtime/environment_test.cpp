#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <vector>
#include <string>

#include "runtime/alloc.h"
#include "runtime/environment.h"
#include "support/test_support.h"

namespace qvn {

using qvntest::EnvFixture;
using EnvironmentTest = EnvFixture;

TEST(EnvironmentLifecycle, OpenCloseAndBadHandles) {
  int status = -1;
  QVNENVptr env = QVNopenQUORVAN(&status);
  ASSERT_NE(env, nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_STREQ(QVNversion(env), "10.2.0");
  EXPECT_EQ(QVNEgetbigreal(nullptr), 1e20);
  EXPECT_EQ(QVNgetchannels(env, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(QVNcloseQUORVAN(&env), 0);
  EXPECT_EQ(env, nullptr);

  QVNENVptr none = nullptr;
  EXPECT_EQ(QVNcloseQUORVAN(&none), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNcloseQUORVAN(nullptr), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNversion(nullptr), nullptr);
  EXPECT_EQ(QVNgetnumcols(nullptr, nullptr), 0);
  EXPECT_EQ(QVNgetprobtype(nullptr, nullptr), -1);
  EXPECT_EQ(QVNsetintparam(nullptr, QVN_PARAM_ITLIM, 5), QVNERR_NO_ENVIRONMENT);
}

TEST(EnvironmentLifecycle, EveryAllocationFailureDuringOpenLeavesNothing) {
  for (long n = 1; n < 200; ++n) {
    const long live = allocLive();
    allocFailAfter(n);
    int status = -1;
    QVNENVptr env = QVNopenQUORVAN(&status);
    allocFailAfter(0);
    if (env) {
      EXPECT_EQ(status, 0);
      EXPECT_EQ(QVNcloseQUORVAN(&env), 0);
      EXPECT_EQ(allocLive(), live);
      return;  // every allocation of set-up has been failed once
    }
    EXPECT_EQ(status, QVNERR_NO_MEMORY) << "allocation " << n;
    EXPECT_EQ(allocLive(), live) << "allocation " << n;
  }
  FAIL() << "set-up never succeeded";
}

TEST_F(EnvironmentTest, ChildrenInheritParametersAndCannotNest) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 77), 0);
  int status = -1;
  QVNENVptr child = QVNparenv(env, &status);
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(status, 0);
  int value = 0;
  EXPECT_EQ(QVNgetintparam(child, QVN_PARAM_ITLIM, &value), 0);
  EXPECT_EQ(value, 77);

  EXPECT_EQ(QVNparenv(child, &status), nullptr);
  EXPECT_EQ(status, QVNERR_CHILD_OF_CHILD);

  QVNENVptr handle = child;
  EXPECT_EQ(QVNcloseQUORVAN(&handle), QVNERR_CANT_CLOSE_CHILD);
  EXPECT_EQ(handle, child);
  EXPECT_EQ(QVNsetintparam(child, QVN_PARAM_ITLIM, 5), 0);  // still usable

  // Another root's child is foreign here.
  QVNENVptr other = QVNopenQUORVAN(&status);
  QVNENVptr otherChild = QVNparenv(other, &status);
  ASSERT_NE(otherChild, nullptr);
  EXPECT_EQ(QVNfreeparenv(env, &otherChild), QVNERR_BAD_ARGUMENT);
  EXPECT_NE(otherChild, nullptr);
  EXPECT_EQ(QVNcloseQUORVAN(&other), 0);

  QVNENVptr nothing = nullptr;
  EXPECT_EQ(QVNfreeparenv(env, &nothing), 0);
  EXPECT_EQ(QVNfreeparenv(env, &child), 0);
  EXPECT_EQ(child, nullptr);
}

TEST_F(EnvironmentTest, ThreadLimitBoundsChildren) {
  std::vector<QVNENVptr> children;
  int status = 0;
  for (int i = 0; i < kThreadLimit; ++i) {
    QVNENVptr c = QVNparenv(env, &status);
    ASSERT_NE(c, nullptr) << i;
    children.push_back(c);
  }
  EXPECT_EQ(QVNparenv(env, &status), nullptr);
  EXPECT_EQ(status, QVNERR_TOO_MANY_THREADS);
  // The rest die with the root in TearDown.
  ASSERT_EQ(QVNfreeparenv(env, &children[3]), 0);
  EXPECT_NE(QVNparenv(env, &status), nullptr);
}

TEST_F(EnvironmentTest, TerminateFlagOnRootIsSeenByChild) {
  int status = 0;
  QVNENVptr child = QVNparenv(env, &status);
  ASSERT_NE(child, nullptr);
  volatile int flag = 0;
  ASSERT_EQ(QVNsetterminate(env, &flag), 0);
  EXPECT_FALSE(terminateRequested(child));
  flag = 1;
  EXPECT_TRUE(terminateRequested(child));
  EXPECT_TRUE(terminateRequested(env));
  ASSERT_EQ(QVNsetterminate(env, nullptr), 0);
  EXPECT_FALSE(terminateRequested(child));
}

TEST(EnvironmentLifecycle, CloseFreesForgottenObjects) {
  const long live = allocLive();
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNENVptr child = QVNparenv(env, &status);
  QVNLPptr lp1 = QVNcreateprob(env, &status, "a");
  QVNLPptr lp2 = QVNcreateprob(child, &status, "b");
  QVNCHANNELptr channel = QVNaddchannel(env);
  ASSERT_TRUE(child && lp1 && lp2 && channel);
  ASSERT_EQ(QVNcloseQUORVAN(&env), 0);
  EXPECT_EQ(allocLive(), live);
}

TEST_F(EnvironmentTest, ThreadsRunOnEveryArgumentAndThreadsAllowedCaps) {
  std::atomic<int> sum{0};
  int args[4] = {1, 2, 3, 4};
  void *argv[4] = {&args[0], &args[1], &args[2], &args[3]};
  static std::atomic<int> *target;
  target = &sum;
  runThreads(env, [](void *a) { *target += *static_cast<int *>(a); }, 4, argv);
  EXPECT_EQ(sum.load(), 10);
  EXPECT_EQ(threadsAllowed(env, 1), 1);
  EXPECT_EQ(threadsAllowed(env, 0), kThreadLimit);
  EXPECT_EQ(threadsAllowed(env, 9), 1);
}

} // namespace qvn
