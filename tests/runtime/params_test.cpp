#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "runtime/params.h"
#include "runtime/temp_dir.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;
using ParamTest = EnvFixture;
using qvn::ParamDescriptor;
using qvn::ParamKind;

void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

// The screen switch attaches standard output; tests keep the parameter's value
// but take the destinations off again so that nothing reaches the terminal.
void detachScreen(QVNENVptr env) {
  QVNCHANNELptr channels[3] = {nullptr, nullptr, nullptr};
  QVNgetchannels(env, &channels[0], &channels[1], &channels[2], nullptr);
  for (QVNCHANNELptr c : channels) QVNdelfpdest(env, c, stdout);
}

struct Value {
  int i = 0;
  double d = 0.0;
  std::string s;
};

// A legal value that differs from the default, or false when the range holds
// nothing else (a thread count on a one-processor machine).
bool otherValue(const ParamDescriptor &d, Value *v) {
  switch (d.kind) {
  case ParamKind::integer: {
    const int lo = qvn::paramIntMin(d), hi = qvn::paramIntMax(d);
    if (hi != d.intDefault) v->i = hi;
    else if (lo != d.intDefault) v->i = lo;
    else return false;
    return true;
  }
  case ParamKind::real:
    if (d.dblMin == d.dblMax) v->d = d.dblDefault == 12345.5 ? 0.25 : 12345.5;
    else v->d = d.dblMax != d.dblDefault ? d.dblMax : d.dblMin;
    return true;
  case ParamKind::text:
    v->s = "walk_" + std::to_string(d.number);
    return true;
  case ParamKind::none: break;
  }
  return false;
}

Value current(QVNENVptr env, const ParamDescriptor &d) {
  Value v;
  char text[qvn::kStrParamSize];
  switch (d.kind) {
  case ParamKind::integer: EXPECT_EQ(QVNgetintparam(env, d.number, &v.i), 0); break;
  case ParamKind::real: EXPECT_EQ(QVNgetdblparam(env, d.number, &v.d), 0); break;
  case ParamKind::text:
    EXPECT_EQ(QVNgetstrparam(env, d.number, text), 0);
    v.s = text;
    break;
  case ParamKind::none: break;
  }
  return v;
}

bool same(const ParamDescriptor &d, const Value &a, const Value &b) {
  switch (d.kind) {
  case ParamKind::integer: return a.i == b.i;
  case ParamKind::real: return a.d == b.d;
  case ParamKind::text: return a.s == b.s;
  case ParamKind::none: break;
  }
  return true;
}

bool isDefault(const ParamDescriptor &d, const Value &v) {
  Value def;
  def.i = d.intDefault;
  def.d = d.dblDefault;
  def.s = d.strDefault ? d.strDefault : "";
  return same(d, v, def);
}

std::vector<int> changedParams(QVNENVptr env) {
  int count = -1;
  EXPECT_EQ(QVNgetchgparams(env, &count, nullptr), 0);
  std::vector<int> numbers(std::max(count, 1));
  int again = -1;
  EXPECT_EQ(QVNgetchgparams(env, &again, numbers.data()), 0);
  EXPECT_EQ(again, count);
  numbers.resize(std::max(count, 0));
  return numbers;
}

// Every parameter: bad sets are refused and change nothing, a legal non-default
// value is read back, listed, written to a file, survives a reset and a read of
// that file.
TEST_F(ParamTest, WholeTableSurvivesSetListWriteResetRead) {
  qvntest::TempDir dir;
  ASSERT_TRUE(dir.ok());
  size_t count = 0;
  const ParamDescriptor *table = qvn::paramTable(&count);
  ASSERT_EQ(count, 229u);

  std::map<int, Value> wanted;
  std::set<int> expectListed;
  for (size_t k = 0; k < count; ++k) {
    const ParamDescriptor &d = table[k];
    SCOPED_TRACE(d.number);
    const Value before = current(env, d);
    ASSERT_TRUE(isDefault(d, before));

    // Wrong kind: 1013, nothing changes.
    if (d.kind != ParamKind::integer) {
      EXPECT_EQ(QVNsetintparam(env, d.number, 1), QVNERR_BAD_PARAM_NUM);
    }
    if (d.kind != ParamKind::real) {
      EXPECT_EQ(QVNsetdblparam(env, d.number, 1.0), QVNERR_BAD_PARAM_NUM);
    }
    if (d.kind != ParamKind::text) {
      EXPECT_EQ(QVNsetstrparam(env, d.number, "x"), QVNERR_BAD_PARAM_NUM);
    }
    int i = 0;
    double x = 0;
    char text[qvn::kStrParamSize];
    if (d.kind != ParamKind::integer) {
      EXPECT_EQ(QVNgetintparam(env, d.number, &i), QVNERR_BAD_PARAM_NUM);
      EXPECT_EQ(QVNinfointparam(env, d.number, &i, &i, &i), QVNERR_BAD_PARAM_NUM);
    }
    if (d.kind != ParamKind::real) {
      EXPECT_EQ(QVNgetdblparam(env, d.number, &x), QVNERR_BAD_PARAM_NUM);
    }
    if (d.kind != ParamKind::text) {
      EXPECT_EQ(QVNgetstrparam(env, d.number, text), QVNERR_BAD_PARAM_NUM);
    }

    // Out of range: 1014 below, 1015 above, nothing changes.
    if (d.kind == ParamKind::integer) {
      const int lo = qvn::paramIntMin(d), hi = qvn::paramIntMax(d);
      int def = 0, mn = 0, mx = 0;
      EXPECT_EQ(QVNinfointparam(env, d.number, &def, &mn, &mx), 0);
      EXPECT_EQ(def, d.intDefault);
      EXPECT_EQ(mn, lo);
      EXPECT_EQ(mx, hi);
      EXPECT_LE(lo, def);
      EXPECT_LE(def, hi);
      if (lo > INT_MIN) {
        EXPECT_EQ(QVNsetintparam(env, d.number, lo - 1), QVNERR_PARAM_TOO_SMALL);
      }
      if (hi < INT_MAX) {
        EXPECT_EQ(QVNsetintparam(env, d.number, hi + 1), QVNERR_PARAM_TOO_BIG);
      }
    } else if (d.kind == ParamKind::real) {
      double def = 0, mn = 0, mx = 0;
      EXPECT_EQ(QVNinfodblparam(env, d.number, &def, &mn, &mx), 0);
      EXPECT_EQ(def, d.dblDefault);
      if (mn != mx) {
        EXPECT_EQ(QVNsetdblparam(env, d.number, mn - std::max(1.0, std::fabs(mn))), QVNERR_PARAM_TOO_SMALL);
        EXPECT_EQ(QVNsetdblparam(env, d.number, mx + std::max(1.0, std::fabs(mx))), QVNERR_PARAM_TOO_BIG);
      } else {
        EXPECT_EQ(QVNsetdblparam(env, d.number, 1e300), 0);
        EXPECT_EQ(QVNsetdblparam(env, d.number, -1e300), 0);
        EXPECT_EQ(QVNsetdblparam(env, d.number, d.dblDefault), 0);
      }
    } else {
      EXPECT_EQ(QVNinfostrparam(env, d.number, text), 0);
      EXPECT_STREQ(text, d.strDefault);
    }
    EXPECT_TRUE(same(d, current(env, d), before));

    Value v;
    if (!otherValue(d, &v)) continue;
    switch (d.kind) {
    case ParamKind::integer: ASSERT_EQ(QVNsetintparam(env, d.number, v.i), 0); break;
    case ParamKind::real: ASSERT_EQ(QVNsetdblparam(env, d.number, v.d), 0); break;
    case ParamKind::text: ASSERT_EQ(QVNsetstrparam(env, d.number, v.s.c_str()), 0); break;
    case ParamKind::none: break;
    }
    if (d.number == QVN_PARAM_SCRIND) detachScreen(env);
    EXPECT_TRUE(same(d, current(env, d), v));
    wanted[d.number] = v;
    if (!d.hidden()) expectListed.insert(d.number);
    const std::string refused = takeErrors();
    EXPECT_EQ(refused.find("QUORVAN Error  1013: Bad parameter number to QUORVAN parameter routine.\n"), 0u);
  }
  // Only the thread counts can lack a second legal value.
  EXPECT_GE(wanted.size(), count - 4);

  // The echo switch (1075) is on now; keep its text off the terminal.
  std::string echoed;
  QVNCHANNELptr results = nullptr;
  QVNgetchannels(env, &results, nullptr, nullptr, nullptr);
  ASSERT_EQ(QVNaddfuncdest(env, results, &echoed, collect), 0);

  const std::vector<int> listed = changedParams(env);
  EXPECT_TRUE(std::is_sorted(listed.begin(), listed.end()));
  EXPECT_EQ(std::set<int>(listed.begin(), listed.end()), expectListed);
  EXPECT_EQ(listed.size(), expectListed.size());

  const std::string prm = dir.file("all.prm");
  ASSERT_EQ(QVNwriteparam(env, prm.c_str()), 0);
  const std::string written = qvntest::readText(prm);
  EXPECT_EQ(written.rfind("QUORVAN Parameter File Version 10.2.0\n", 0), 0u);
  EXPECT_EQ(written.find("\n1053 "), std::string::npos);
  EXPECT_NE(written.find("\n1004 "), std::string::npos);  // unnamed ones by number
  EXPECT_NE(written.find("\nQVN_PARAM_ITLIM "), std::string::npos);

  ASSERT_EQ(QVNsetdefaults(env), 0);
  EXPECT_TRUE(changedParams(env).empty());
  for (size_t k = 0; k < count; ++k) EXPECT_TRUE(isDefault(table[k], current(env, table[k]))) << table[k].number;

  echoed.clear();
  // The file switches the screen on (1035) before the echo (1075), so the echo of
  // every later setting reaches standard output as well.
  testing::internal::CaptureStdout();
  const int readStatus = QVNreadcopyparam(env, prm.c_str());
  std::fflush(stdout);
  const std::string screen = testing::internal::GetCapturedStdout();
  ASSERT_EQ(readStatus, 0) << takeErrors();
  detachScreen(env);
  EXPECT_EQ(screen, echoed);
  for (size_t k = 0; k < count; ++k) {
    const ParamDescriptor &d = table[k];
    const auto it = wanted.find(d.number);
    if (d.number == 1053 || it == wanted.end()) {
      EXPECT_TRUE(isDefault(d, current(env, d))) << d.number;
    } else {
      EXPECT_TRUE(same(d, current(env, d), it->second)) << d.number;
    }
  }
  // 1075 is applied in file order, so the settings after it are echoed.
  EXPECT_NE(echoed.find("Parameter 1108 set to 2100000000.\n"), std::string::npos);
  EXPECT_EQ(takeErrors(), "");
}

// NaN is refused by every double parameter, ranged or open, and by a reset
// nothing of it is left; infinities stay subject to the range.
TEST_F(ParamTest, NanRefusedByEveryDoubleParameter) {
  size_t count = 0;
  const ParamDescriptor *table = qvn::paramTable(&count);
  const double nan = std::nan("");
  int doubles = 0;
  for (size_t k = 0; k < count; ++k) {
    const ParamDescriptor &d = table[k];
    if (d.kind != ParamKind::real) continue;
    SCOPED_TRACE(d.number);
    ++doubles;
    EXPECT_EQ(QVNsetdblparam(env, d.number, nan), QVNERR_PARAM_TOO_SMALL);
    EXPECT_EQ(QVNsetdblparam(env, d.number, -nan), QVNERR_PARAM_TOO_SMALL);
    double v = 0;
    ASSERT_EQ(QVNgetdblparam(env, d.number, &v), 0);
    EXPECT_EQ(v, d.dblDefault);
    if (d.dblMin != d.dblMax) {
      EXPECT_EQ(QVNsetdblparam(env, d.number, HUGE_VAL), QVNERR_PARAM_TOO_BIG);
      EXPECT_EQ(QVNsetdblparam(env, d.number, -HUGE_VAL), QVNERR_PARAM_TOO_SMALL);
    }
  }
  EXPECT_GT(doubles, 40);
  EXPECT_EQ(QVNsetdefaults(env), 0);
  EXPECT_TRUE(changedParams(env).empty());
  takeErrors();
}

TEST_F(ParamTest, NumberRangeNamesAndErrorTexts) {
  int value = 0;
  for (int number : {1000, 6000, 1011, 4005, -5, 2000}) {
    EXPECT_EQ(QVNsetintparam(env, number, 0), QVNERR_BAD_PARAM_NUM) << number;
    EXPECT_EQ(QVNgetintparam(env, number, &value), QVNERR_BAD_PARAM_NUM) << number;
    EXPECT_EQ(QVNgetdblparam(env, number, nullptr), QVNERR_BAD_PARAM_NUM) << number;
    EXPECT_EQ(QVNinfostrparam(env, number, nullptr), QVNERR_BAD_PARAM_NUM) << number;
  }
  const std::string errors = takeErrors();
  EXPECT_EQ(errors.find("QUORVAN Error  1013: Bad parameter number to QUORVAN parameter routine.\n"), 0u);
  // A null place for the value is accepted; only the number is tested.
  EXPECT_EQ(QVNgetintparam(env, QVN_PARAM_ITLIM, nullptr), 0);
  EXPECT_EQ(QVNinfodblparam(env, QVN_PARAM_EPOPT, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 3), QVNERR_PARAM_TOO_BIG);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1015: Parameter value too big.\n");
  EXPECT_EQ(QVNsetdblparam(env, QVN_PARAM_EPOPT, 0.0), QVNERR_PARAM_TOO_SMALL);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1014: Parameter value too small.\n");
  EXPECT_EQ(QVNsetdblparam(env, QVN_PARAM_OBJLLIM, -1e300), 0);

  char name[qvn::kStrParamSize] = "junk";
  EXPECT_EQ(QVNgetparamname(env, 1004, name), 0);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(QVNgetparamname(env, QVN_PARAM_BARDISPLAY, name), 0);
  EXPECT_STREQ(name, "QVN_PARAM_BARDISPLAY");
  std::strcpy(name, "junk");
  EXPECT_EQ(QVNgetparamname(env, 1011, name), QVNERR_BAD_PARAM_NUM);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1013: Bad parameter number to QUORVAN parameter routine.\n");

  int number = 0;
  EXPECT_EQ(QVNgetparamnum(env, "QVN_PARAM_NETDISPLAY", &number), 0);
  EXPECT_EQ(number, QVN_PARAM_NETDISPLAY);
  EXPECT_EQ(QVNgetparamnum(env, "QVN_PARAM_netdisplay", &number), QVNERR_BAD_PARAM_NAME);
  EXPECT_EQ(number, -1);
  EXPECT_EQ(QVNgetparamnum(env, "", &number), QVNERR_BAD_PARAM_NAME);
  EXPECT_EQ(QVNgetparamnum(env, "QVN_PARAM_ITLIM", nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(takeErrors().find("QUORVAN Error  1028: Bad parameter name to QUORVAN parameter routine.\n"), 0u);
  EXPECT_EQ(QVNgetchgparams(env, nullptr, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, nullptr), QVNERR_NULL_POINTER);
  const std::string tooLong(qvn::kStrParamSize, 'w');
  EXPECT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, tooLong.c_str()), QVNERR_STR_PARAM_TOO_LONG);
  EXPECT_EQ(QVNgetstrparam(env, QVN_PARAM_WORKDIR, name), 0);
  EXPECT_STREQ(name, ".");
  takeErrors();

  // Every named parameter is found by its name through the hash.
  size_t named = 0;
  const ParamDescriptor *const *list = qvn::paramList(&named);
  EXPECT_GT(named, 100u);
  for (size_t k = 0; k < named; ++k) {
    ASSERT_EQ(QVNgetparamnum(env, list[k]->name, &number), 0) << list[k]->name;
    EXPECT_EQ(number, list[k]->number);
  }
  // The hash: exclusive or of the bytes, byte i shifted by 8 * (i mod 4) bits.
  const unsigned expected = ('a' ^ ('b' << 8) ^ ('c' << 16) ^ (unsigned('d') << 24) ^ 'e') % 1021u;
  EXPECT_EQ(qvn::paramNameHash("abcde", 1021), expected);
  EXPECT_EQ(qvn::paramNameHash("", 1021), 0u);

  EXPECT_EQ(QVNsetintparam(nullptr, QVN_PARAM_ITLIM, 1), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNgetchgparams(nullptr, &number, nullptr), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNsetdefaults(nullptr), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(takeErrors(), "");
}

TEST_F(ParamTest, EchoAndDefaultsDetachTheScreen) {
  std::string echoed;
  QVNCHANNELptr results = nullptr;
  QVNgetchannels(env, &results, nullptr, nullptr, nullptr);
  ASSERT_EQ(QVNaddfuncdest(env, results, &echoed, collect), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 2), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SCRIND, 1), 0);
  detachScreen(env);
  EXPECT_EQ(echoed, "");
  ASSERT_EQ(QVNsetintparam(env, 1075, 1), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_EPOPT, 0.001), 0);
  ASSERT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, "/tmp"), 0);
  EXPECT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 9), QVNERR_PARAM_TOO_BIG);
  EXPECT_EQ(echoed,
            "Parameter 1075 set to 1.\n"
            "Parameter 1001 set to 0.\n"
            "Parameter 1014 set to 0.001.\n"
            "Parameter 1064 set to \"/tmp\".\n");
  takeErrors();

  // The screen goes back on without the switch changing: the reset must take it off.
  QVNCHANNELptr warning = nullptr, error = nullptr;
  QVNgetchannels(env, nullptr, &warning, &error, nullptr);
  for (QVNCHANNELptr c : {results, warning, error}) ASSERT_EQ(QVNaddfpdest(env, c, stdout), 0);
  echoed.clear();
  ASSERT_EQ(QVNsetdefaults(env), 0);
  EXPECT_EQ(echoed, "");  // a reset is not echoed
  for (QVNCHANNELptr c : {results, warning, error}) EXPECT_EQ(QVNdelfpdest(env, c, stdout), QVNERR_NO_FILENAME);
  takeErrors();
  int value = -1;
  QVNgetintparam(env, QVN_PARAM_ADVIND, &value);
  EXPECT_EQ(value, 1);
  char text[qvn::kStrParamSize];
  QVNgetstrparam(env, QVN_PARAM_WORKDIR, text);
  EXPECT_STREQ(text, ".");
  EXPECT_TRUE(changedParams(env).empty());
}

} // namespace
