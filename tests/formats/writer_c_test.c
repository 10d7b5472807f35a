/* The writers from C: a problem is written as a file that reads back as the
   same problem, or the write is refused and no file is made. Built as C. */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "quorvan.h"
#include "../support/c_check.h"

static int exists(const char *path) {
  FILE *f = fopen(path, "r");
  if (f) fclose(f);
  return f != NULL;
}

int main(void) {
  char lpFile[128], mpsFile[128];
  snprintf(lpFile, sizeof lpFile, "/tmp/qvn_writer_c_%d.lp", (int)getpid());
  snprintf(mpsFile, sizeof mpsFile, "/tmp/qvn_writer_c_%d.mps", (int)getpid());
  int status = -1;
  QVNENVptr env = QVNopenQUORVAN(&status);
  CHECK(env != NULL && status == 0);
  if (!env) return 1;

  /* min -x + y, x - y >= 0, x <= 1e19: optimum -1e19 (x = 1e19, y = 0). The
     names "x 1" and "x_1" are one name once the LP writer repairs them. */
  QVNLPptr lp = QVNcreateprob(env, &status, "writers");
  CHECK(lp != NULL);
  double obj[] = {-1, 1}, lower[] = {0, 0}, upper[] = {1e19, QVN_INFBOUND}, rhs[] = {0};
  char *names[] = {"x 1", "x_1"};
  char sense[] = {'G'};
  int rows[] = {0, 0}, cols[] = {0, 1};
  double values[] = {1, -1};
  CHECK(QVNnewcols(env, lp, 2, obj, lower, upper, NULL, names) == 0);
  CHECK(QVNnewrows(env, lp, 1, rhs, sense, NULL, NULL) == 0);
  CHECK(QVNchgcoeflist(env, lp, 2, rows, cols, values) == 0);

  /* No format has room for an objective offset: both writers refuse it. */
  remove(lpFile);
  remove(mpsFile);
  CHECK(QVNchgobjoffset(env, lp, 5.0) == 0);
  CHECK(QVNlpwrite(env, lp, lpFile) == 1650);
  CHECK(QVNmpswrite(env, lp, mpsFile) == 1650);
  CHECK(!exists(lpFile) && !exists(mpsFile));
  CHECK(QVNchgobjoffset(env, lp, 0.0) == 0);

  const char *files[] = {lpFile, mpsFile};
  CHECK(QVNlpwrite(env, lp, lpFile) == 0);
  CHECK(QVNmpswrite(env, lp, mpsFile) == 0);
  for (int f = 0; f < 2; ++f) {
    QVNLPptr back = QVNcreateprob(env, &status, "back");
    CHECK(back != NULL);
    CHECK(QVNreadcopyprob(env, back, files[f], NULL) == 0);
    CHECK(QVNgetnumcols(env, back) == 2);
    double ub = 0, z = 0;
    CHECK(QVNgetub(env, back, &ub, 0, 0) == 0);
    CHECK(ub == 1e19);
    CHECK(QVNlpopt(env, back) == 0);
    CHECK(QVNgetstat(env, back) == QVN_STAT_OPTIMAL);
    CHECK(QVNgetobjval(env, back, &z) == 0);
    CHECK(z == -1e19);
    CHECK(QVNfreeprob(env, &back) == 0);
  }
  remove(lpFile);
  remove(mpsFile);
  CHECK(QVNfreeprob(env, &lp) == 0);
  CHECK(QVNcloseQUORVAN(&env) == 0);
  return checkSummary("writer c");
}
