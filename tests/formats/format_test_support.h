// Fixtures for the model file tests: temporary files, captured warnings and
// a model comparison that names every difference it finds.
#pragma once
#include <string>

#include "formats/formats.h"
#include "support/test_support.h"

namespace qvntest {

class FormatFixture : public EnvFixture {
protected:
  void SetUp() override;
  void TearDown() override;
  // Writes `content` to a fresh file in this test's directory.
  std::string writeFile(const std::string &name, const std::string &content);
  std::string path(const std::string &name) const;
  // Reads `content` as a file named `name`: 0 or the reader's status.
  int readText(const std::string &name, const std::string &content, qvn::ModelImage &image,
               const char *type = nullptr);
  std::string takeWarnings();
  std::string takeResults();
  std::string dir;
  std::string warnings, results;
};

struct CompareOptions {
  bool byName = false;     // match rows and columns by name instead of position
  double tolerance = 1e-13;  // relative
  bool rowsInOrder = false;  // with byName: rows still by position (their names may repeat)
};

// Empty when equal; else a description of the first differences.
std::string compareModels(const qvn::ModelImage &expected, const qvn::ModelImage &actual,
                          const CompareOptions &options);

// What an LP file makes of a model: names repaired as the LP writer does,
// ranged rows turned into equality rows with a range column "Rg<row>".
// `namesCollide` tells that two names became one, which LP cannot hold.
qvn::ModelImage lpView(const qvn::ModelImage &model, bool *namesCollide);

// Empty when `back` is `original` as written by the LP (`lp`) or MPS writer
// and read back, under one of the namings a writer may choose for columns and
// for rows: the model's own (repaired for LP) cut to 255 characters, or
// generated ones (x1, x2 ... and c1, c2 ...). Else the differences under the
// model's own names.
std::string compareRoundTrip(const qvn::ModelImage &original, const qvn::ModelImage &back, bool lp,
                             double tolerance = 1e-14);

int countOf(const std::string &text, const std::string &piece);
// Index of the column called `name`, or -1.
int columnNamed(const qvn::ModelImage &m, const char *name);

} // namespace qvntest
