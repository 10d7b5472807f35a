#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;
using ChannelTest = EnvFixture;

void append(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }
void appendTagged(void *handle, const char *text) {
  static_cast<std::string *>(handle)->append("[").append(text).append("]");
}

std::string readAll(FILE *f) {
  std::string out;
  std::rewind(f);
  for (int c; (c = std::fgetc(f)) != EOF;) out.push_back(static_cast<char>(c));
  return out;
}

TEST_F(ChannelTest, NewestDestinationFirstAndDeletionStopsDelivery) {
  QVNCHANNELptr channel = QVNaddchannel(env);
  ASSERT_NE(channel, nullptr);
  std::string order;
  ASSERT_EQ(QVNaddfuncdest(env, channel, &order, append), 0);
  ASSERT_EQ(QVNaddfuncdest(env, channel, &order, appendTagged), 0);
  EXPECT_EQ(QVNmsg(channel, "v=%d\n", 42), 5);
  EXPECT_EQ(order, "[v=42\n]v=42\n");

  std::string other;
  EXPECT_EQ(QVNdelfuncdest(env, channel, &other, append), QVNERR_NO_FUNCTION);
  EXPECT_EQ(QVNdelfuncdest(env, channel, &order, appendTagged), 0);
  order.clear();
  QVNmsgstr(channel, "x");
  EXPECT_EQ(order, "x");
  EXPECT_EQ(QVNdelchannel(env, &channel), 0);
  EXPECT_EQ(channel, nullptr);
  EXPECT_EQ(QVNmsg(nullptr, "%s", "abc"), 3);
}

TEST_F(ChannelTest, FileDestinationsAndLogFile) {
  FILE *file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  QVNCHANNELptr results = nullptr, log = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &results, nullptr, nullptr, &log), 0);
  EXPECT_EQ(QVNaddfpdest(env, nullptr, file), QVNERR_NO_CHANNEL);
  EXPECT_EQ(QVNaddfpdest(env, results, nullptr), QVNERR_NO_FILENAME);
  EXPECT_EQ(QVNdelfpdest(env, results, file), QVNERR_NO_FILENAME);
  takeErrors();

  ASSERT_EQ(QVNsetlogfile(env, file), 0);
  FILE *current = nullptr;
  ASSERT_EQ(QVNgetlogfile(env, &current), 0);
  EXPECT_EQ(current, file);
  QVNmsg(results, "to results\n");
  QVNmsg(log, "to log\n");
  ASSERT_EQ(QVNsetlogfile(env, nullptr), 0);
  QVNmsg(results, "not logged\n");
  EXPECT_EQ(readAll(file), "to results\nto log\n");
  std::fclose(file);
}

TEST_F(ChannelTest, ScreenSwitchTwiceLeavesOneDestination) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SCRIND, 1), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SCRIND, 1), 0);
  QVNCHANNELptr results = nullptr;
  QVNgetchannels(env, &results, nullptr, nullptr, nullptr);
  EXPECT_EQ(QVNdelfpdest(env, results, stdout), 0);
  EXPECT_EQ(QVNdelfpdest(env, results, stdout), QVNERR_NO_FILENAME);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SCRIND, 0), 0);
  EXPECT_EQ(QVNflushchannel(env, results), 0);
}

} // namespace
