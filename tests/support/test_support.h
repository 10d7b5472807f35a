// Shared fixtures for the test suite.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quorvan.h"

namespace qvntest {

// An open Environment whose error channel is captured instead of printed.
class EnvFixture : public ::testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;
  // Text printed on the error channel since the last call, then cleared.
  std::string takeErrors();
  QVNENVptr env = nullptr;
  std::string errors;
};

// Directory with the shared public test models, or "" when absent.
std::string sharedDataDir();

} // namespace qvntest
