// ModelImage: the plain record between the model files and a Problem. Readers
// fill one and hand it to installModel; writers take one built from a Problem
// by imageFromProblem. Everything a format can hold has a place here, also
// what a Problem cannot take yet (quadratic constraints, indicators, user cuts
// and lazy constraints), which installModel drops with a warning.
#pragma once
#include <cstdint>
#include <cstring>

#include "runtime/alloc.h"

struct Environment;
struct Problem;

namespace qvn {

// Names of one kind: consecutive NUL-terminated texts and their offsets.
struct NameList {
  EnvVector<char> text;
  EnvVector<int64_t> offset;
  int size() const { return static_cast<int>(offset.size()); }
  const char *get(int i) const { return text.data() + offset[static_cast<size_t>(i)]; }
  void add(const char *name, size_t length) {
    offset.push_back(static_cast<int64_t>(text.size()));
    text.insert(text.end(), name, name + length);
    text.push_back('\0');
  }
  void add(const char *name) { add(name, std::strlen(name)); }
  void clear() {
    text.clear();
    offset.clear();
  }
};

// Open hashing from name text to index, over the texts of a NameList.
struct NameIndex {
  EnvVector<int> slot;        // -1 free, else index into the list
  EnvVector<uint32_t> check;  // hash bits of the entry in each slot, tested before the text
  int used = 0;
  // Index of `name` in `list`, or -1.
  int find(const NameList &list, const char *name, size_t length) const;
  // Enters list entry `index` (already added to `list`); returns the index of
  // an equal earlier entry instead, leaving the table unchanged, if one exists.
  int insert(const NameList &list, int index);
};

// Rows with their own coefficients, row-wise: user cuts and lazy constraints.
struct RowBlock {
  int count = 0;
  EnvVector<char> sense;
  EnvVector<double> rhs;
  EnvVector<int> start{0};  // count + 1
  EnvVector<int> index;
  EnvVector<double> value;
  NameList names;
  bool hasNames = false;
};

struct SosSets {
  int count = 0;
  EnvVector<char> type;  // '1' or '2'
  EnvVector<int> start{0};  // count + 1
  EnvVector<int> member;
  EnvVector<double> weight;
  NameList names;
  bool hasNames = false;
  // Opens an empty set; members are appended behind it.
  void open(char setType, const char *name, size_t length) {
    type.push_back(setType);
    start.push_back(start.back());
    names.add(name, length);
    hasNames = true;
    ++count;
  }
  void addMember(int column, double value) {
    member.push_back(column);
    weight.push_back(value);
    ++start.back();
  }
};

struct QuadConstraint {
  char sense = 'L';
  double rhs = 0.0;
  EnvVector<int> linIndex;
  EnvVector<double> linValue;
  EnvVector<int> quadRow, quadCol;
  EnvVector<double> quadValue;
};

struct Indicator {
  int column = -1;
  int kind = 1;  // 1 "->", 2 "<-", 3 "<->"; negated for the complemented form
  char sense = 'E';
  double rhs = 0.0;
  EnvVector<int> index;
  EnvVector<double> value;
};

struct ModelImage {
  NameList probName;  // one entry when present
  int objSense = 1;
  double objConstant = 0.0;
  NameList objName;  // one entry when present
  // rows
  int numRows = 0;
  EnvVector<char> sense;     // 'L', 'G', 'E', 'R'
  EnvVector<double> rhs;
  EnvVector<double> range;   // per row, meaningful for 'R' rows; empty when none
  NameList rowNames;
  bool hasRowNames = false;
  // columns
  int numCols = 0;
  EnvVector<double> obj, lower, upper;
  EnvVector<char> ctype;     // empty for a continuous model
  NameList colNames;
  bool hasColNames = false;
  // matrix, column-wise without gaps
  EnvVector<int> colStart{0};  // numCols + 1
  EnvVector<int> rowIndex;
  EnvVector<double> value;
  // extensions
  SosSets sos;
  // Objective Q as entries of the full symmetric matrix: objective = c'x + 1/2 x'Qx.
  EnvVector<int> qRow, qCol;
  EnvVector<double> qValue;
  EnvVector<QuadConstraint> qconstr;
  NameList qconstrNames;
  EnvVector<Indicator> indicators;
  NameList indicatorNames;
  RowBlock userCuts, lazyRows;

  int64_t numNonzeros() const { return colStart.empty() ? 0 : colStart.back(); }
  bool isMip() const { return !ctype.empty(); }
};

// Replaces the problem's model by the image through the model's functions
// (matrix, names, types, sets, Q, offset, objective name; the problem name
// becomes `fileName`); the problem is untouched on failure.
int installModel(Environment *env, Problem *lp, const ModelImage &image, const char *fileName);
// The problem's model as the caller entered it: range columns and slacks stay
// hidden, scaled data are unscaled.
int imageFromProblem(Environment *env, Problem *lp, ModelImage &image);

// Generated names "<prefix><index+1>" for a list that has none.
void fillDefaultNames(NameList &list, int count, char prefix);

} // namespace qvn
