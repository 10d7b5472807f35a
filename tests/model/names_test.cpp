// Name stores, generated names, display names, the hash index and name tables.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/hash_index.h"
#include "model/names.h"
#include "model/names_table.h"
#include "model/problem.h"
#include "runtime/environment.h"
#include "support/test_support.h"

namespace qvn {

using qvntest::EnvFixture;

namespace {

std::string nameOf(QVNENVptr env, QVNLPptr lp, int index, bool column) {
  char *name = nullptr;
  char store[64];
  int surplus = 0;
  auto get = column ? QVNgetcolname : QVNgetrowname;
  EXPECT_EQ(get(env, lp, &name, store, sizeof store, &surplus, index, index), 0);
  return name ? name : "";
}
std::string colName(QVNENVptr env, QVNLPptr lp, int j) { return nameOf(env, lp, j, true); }
std::string rowName(QVNENVptr env, QVNLPptr lp, int i) { return nameOf(env, lp, i, false); }

const char *hookName(void *handle, int index, char *scratch) {
  std::snprintf(scratch, 17, "%s%d", static_cast<const char *>(handle), index);
  return scratch;
}

} // namespace

using NamesTest = EnvFixture;

TEST_F(NamesTest, GeneratedNamesContinueAfterTheLargestExistingNumber) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "names");
  char x7[] = "x7", other[] = "x07b", zero[] = "x0003";
  char *names[] = {x7, other, zero};
  ASSERT_EQ(QVNnewcols(env, lp, 3, nullptr, nullptr, nullptr, nullptr, names), 0);
  // Unnamed new columns get x8, x9: x07b is not of the generated form, x0003 is 3.
  ASSERT_EQ(QVNnewcols(env, lp, 2, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(colName(env, lp, 3), "x8");
  EXPECT_EQ(colName(env, lp, 4), "x9");
  // A null or empty entry in a given array is generated alone.
  char given[] = "given", empty[] = "";
  char *mixed[] = {given, nullptr, empty};
  ASSERT_EQ(QVNnewcols(env, lp, 3, nullptr, nullptr, nullptr, nullptr, mixed), 0);
  EXPECT_EQ(colName(env, lp, 5), "given");
  EXPECT_EQ(colName(env, lp, 6), "x10");
  EXPECT_EQ(colName(env, lp, 7), "x11");

  // Rows had no names: named rows arriving make generated names for the old ones first.
  ASSERT_EQ(QVNnewrows(env, lp, 2, nullptr, nullptr, nullptr, nullptr), 0);
  int surplus = 0;
  EXPECT_EQ(QVNgetrowname(env, lp, nullptr, nullptr, 0, &surplus, 0, 1), QVNERR_NO_NAMES);
  char named[] = "limit";
  char *rowNames[] = {named};
  ASSERT_EQ(QVNnewrows(env, lp, 1, nullptr, nullptr, nullptr, rowNames), 0);
  EXPECT_EQ(rowName(env, lp, 0), "c1");
  EXPECT_EQ(rowName(env, lp, 1), "c2");
  EXPECT_EQ(rowName(env, lp, 2), "limit");

  // Renaming: shorter in place, longer at the end, and lookups find the new texts.
  char shorter[] = "g", longer[] = "a_much_longer_name_than_before";
  char *renames[] = {shorter, longer};
  const int which[] = {5, 0};
  ASSERT_EQ(QVNchgcolname(env, lp, 2, which, renames), 0);
  EXPECT_EQ(colName(env, lp, 5), "g");
  EXPECT_EQ(colName(env, lp, 0), "a_much_longer_name_than_before");
  EXPECT_EQ(colName(env, lp, 1), "x07b");
  int index = -1;
  EXPECT_EQ(QVNgetcolindex(env, lp, "a_much_longer_name_than_before", &index), 0);
  EXPECT_EQ(index, 0);
  // Repeated names are allowed; the lookup gives the lower index.
  ASSERT_EQ(QVNchgname(env, lp, 'c', 7, "x8"), 0);
  EXPECT_EQ(QVNgetcolindex(env, lp, "x8", &index), 0);
  EXPECT_EQ(index, 3);
  ASSERT_EQ(QVNchgname(env, lp, 'r', 1, "second"), 0);
  EXPECT_EQ(QVNgetrowindex(env, lp, "second", &index), 0);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(QVNchgname(env, lp, 'q', 1, "x"), QVNERR_BAD_ARGUMENT);

  // Deleting compacts the names with the entries.
  ASSERT_EQ(QVNdelcols(env, lp, 0, 2), 0);
  EXPECT_EQ(colName(env, lp, 0), "x8");
  EXPECT_EQ(colName(env, lp, 2), "g");
  ASSERT_EQ(QVNdelnames(env, lp), 0);
  EXPECT_EQ(QVNgetcolindex(env, lp, "g", &index), QVNERR_NO_NAMES);
  takeErrors();
  QVNfreeprob(env, &lp);
}

TEST_F(NamesTest, MoreThanNineDigitsCannotBeContinued) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "names");
  char huge[] = "x12345678901";
  char *names[] = {huge};
  ASSERT_EQ(QVNnewcols(env, lp, 1, nullptr, nullptr, nullptr, nullptr, names), 0);
  EXPECT_EQ(QVNnewcols(env, lp, 1, nullptr, nullptr, nullptr, nullptr, nullptr), QVNERR_NAME_CREATION);
  EXPECT_EQ(QVNgetnumcols(env, lp), 1);
  takeErrors();
  QVNfreeprob(env, &lp);
}

TEST_F(NamesTest, DisplayNamesNeedNoStoreAndFollowTheHooks) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "names");
  ASSERT_EQ(QVNnewcols(env, lp, 3, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QVNnewrows(env, lp, 2, nullptr, nullptr, nullptr, nullptr), 0);
  const LpData &d = *lp->lpData;
  EXPECT_STREQ(displayName(env, &d.colNames, d.numCols, 0, true), "x1");
  EXPECT_STREQ(displayName(env, &d.rowNames, d.numRows, 0, false), "c1");
  EXPECT_STREQ(displayName(env, &d.colNames, d.numCols, 2, true), "x3");
  EXPECT_STREQ(displayName(env, &d.colNames, d.numCols, 3, true), "");
  EXPECT_STREQ(displayName(env, nullptr, 3, -1, true), "");
  char tag[] = "col";
  ASSERT_EQ(QVNEsetnamefunctions(env, tag, hookName, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_STREQ(displayName(env, &d.colNames, d.numCols, 1, true), "col1");
  EXPECT_STREQ(displayName(env, &d.rowNames, d.numRows, 1, false), "c2");
  EXPECT_EQ(QVNEsetnamefunctions(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            QVNERR_NO_ENVIRONMENT);
  // Stored names win over the hook.
  char a[] = "a", b[] = "b", c[] = "c";
  char *names[] = {a, b, c};
  const int all[] = {0, 1, 2};
  ASSERT_EQ(QVNchgcolname(env, lp, 3, all, names), 0);
  EXPECT_STREQ(displayName(env, &d.colNames, d.numCols, 1, true), "b");
  QVNfreeprob(env, &lp);
}

TEST_F(NamesTest, ReadersAndPatterns) {
  std::string warnings;
  QVNCHANNELptr warning = nullptr;
  ASSERT_EQ(QVNgetchannels(env, nullptr, &warning, nullptr, nullptr), 0);
  ASSERT_EQ(QVNaddfuncdest(env, warning, &warnings,
                           [](void *h, const char *t) { static_cast<std::string *>(h)->append(t); }),
            0);
  EnvVector<char> store;
  EnvVector<char *> names;
  int length = 0;
  ASSERT_EQ(makeNamesIfMissing(env, "column", 'x', 12, store, names, &length), 0);
  EXPECT_EQ(warnings, "Default column names x1, x2 ... being created.\n");
  ASSERT_EQ(names.size(), 12u);
  EXPECT_STREQ(names[0], "x1");
  EXPECT_STREQ(names[11], "x12");
  EXPECT_EQ(length, 2);

  EXPECT_TRUE(wildcardMatch("x*", "x12"));
  EXPECT_TRUE(wildcardMatch("*2", "x12"));
  EXPECT_TRUE(wildcardMatch("x?", "x1"));
  EXPECT_FALSE(wildcardMatch("x?", "x12"));
  EXPECT_TRUE(wildcardMatch("a*b*c", "aXXbYbZc"));
  EXPECT_FALSE(wildcardMatch("a*b*c", "aXXbYbZ"));
  EXPECT_TRUE(wildcardMatch("x1\n", "x1"));
  EXPECT_TRUE(wildcardMatch("*", ""));

  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "select");
  ASSERT_EQ(QVNnewcols(env, lp, 12, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  int first = 0, last = 0;
  EnvVector<char> flags;
  // Without stored names the generated display names match.
  ASSERT_EQ(selectByName(env, lp, 'c', "x1?", &first, &last, flags), 0);
  EXPECT_EQ(first, 9);
  EXPECT_EQ(last, 11);
  EXPECT_EQ(flags[10], 1);
  EXPECT_EQ(flags[0], 0);
  ASSERT_EQ(selectByName(env, lp, 'r', "*", &first, &last, flags), 0);
  EXPECT_EQ(first, -1);
  EXPECT_EQ(selectByName(env, lp, 'q', "*", &first, &last, flags), QVNERR_BAD_ARGUMENT);
  QVNfreeprob(env, &lp);
}

TEST(HashIndexTest, ChainsFindMoveAndGrow) {
  EXPECT_EQ(hashBucketCount(100), 1021);
  EXPECT_EQ(hashBucketCount(2917), 1021);
  EXPECT_EQ(hashBucketCount(2918), 8191);
  EXPECT_EQ(hashBucketCount(600000000), 16777213);
  HashIndex *table = createHashIndex(4);
  std::vector<std::string> keys;
  for (int i = 0; i < 3000; ++i) keys.push_back("k" + std::to_string(i));
  for (int i = 0; i < 3000; ++i) table->insert(keys[i].c_str(), i);  // grows past 4
  EXPECT_GE(table->capacity, 3000);
  EXPECT_EQ(table->bucketCount, 1021);  // fixed at creation
  for (int i = 0; i < 3000; i += 37) EXPECT_EQ(table->find(keys[i].c_str()), i);
  EXPECT_EQ(table->find("absent"), -1);
  EXPECT_EQ(hashFind(nullptr, "k1"), -1);
  // Equal keys: the latest insertion is found; removing it uncovers the older one.
  std::string again = "k5";
  table->insert(again.c_str(), 3000);
  EXPECT_EQ(table->find("k5"), 3000);
  table->remove(3000);
  EXPECT_EQ(table->find("k5"), 5);
  table->move(5, 3100);
  EXPECT_EQ(table->find("k5"), 3100);
  EXPECT_EQ(table->nodes[5].index, -1);
  table->removeFrom(1000);
  EXPECT_EQ(table->find("k999"), 999);
  EXPECT_EQ(table->find("k1000"), -1);
  EXPECT_EQ(table->find("k5"), -1);
  freeHashIndex(table);
  EXPECT_EQ(table, nullptr);
}

TEST(NameTableTest, AddsGeneratedNamesAndFindsThroughTheHash) {
  NameTable *table = createNameTable('n', true, 2);
  char a[] = "n4", b[] = "", c[] = "node";
  char *names[] = {a, nullptr, b, c};
  EXPECT_EQ(QVNEnsAddNames(table, 4, names), 0);
  ASSERT_EQ(table->entryCount, 4);
  EXPECT_STREQ(table->names[0], "n4");
  // Only names already in the table decide where numbering starts, not those of the same call.
  EXPECT_STREQ(table->names[1], "n1");
  EXPECT_STREQ(table->names[2], "n2");
  EXPECT_STREQ(table->names[3], "node");
  // Many more: the store moves and every pointer and key moves with it.
  EXPECT_EQ(QVNEnsAddNames(table, 500, nullptr), 0);
  EXPECT_STREQ(table->names[503], "n502");
  EXPECT_STREQ(table->names[3], "node");
  EXPECT_EQ(nameTableFind(table, "node"), 3);
  EXPECT_EQ(nameTableFind(table, "n300"), 301);
  EXPECT_EQ(nameTableFind(table, "n4"), 5);  // repeated: the latest one
  EXPECT_EQ(QVNEnsAddNames(nullptr, 1, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNEnsAddNames(table, -1, nullptr), QVNERR_INDEX_RANGE);
  nameTableTruncate(table, 4);
  EXPECT_EQ(nameTableFind(table, "n300"), -1);
  EXPECT_EQ(QVNEnsAddNames(table, 1, nullptr), 0);
  EXPECT_STREQ(table->names[4], "n503");  // the counter runs on
  freeNameTable(table);
  NameTable *plain = createNameTable('a', false, 1);
  char twice[] = "dup";
  char *dups[] = {twice, twice};
  EXPECT_EQ(QVNEnsAddNames(plain, 2, dups), 0);
  EXPECT_EQ(nameTableFind(plain, "dup"), 0);
  freeNameTable(plain);
}

} // namespace qvn
