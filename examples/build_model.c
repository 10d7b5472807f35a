/* Builds a small production-planning LP through the C interface and prints it
   back: the smallest complete use of an Environment and a Problem.

   maximize   3 x1 + 2 x2 + 4 x3
   subject to   x1 +   x2 + 2 x3 <= 4      (machine)
              2 x1        + 3 x3 <= 5      (labour)
              2 x1 +   x2 + 3 x3 >= 2      (demand)
              0 <= x1, x2, x3 <= 10 */
#include <stdio.h>

#include "quorvan.h"

int main(void) {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) {
    char text[1024];
    fprintf(stderr, "%s", QVNgeterrorstring(NULL, status, text) ? text : "cannot open\n");
    return 1;
  }
  QVNLPptr lp = QVNcreateprob(env, &status, "production");
  if (!lp) goto done;

  {
    double obj[] = {3, 2, 4};
    double rhs[] = {4, 5, 2};
    char sense[] = {'L', 'L', 'G'};
    int colStart[] = {0, 3, 5};
    int colCount[] = {3, 2, 3};
    int rowIndex[] = {0, 1, 2, 0, 2, 0, 1, 2};
    double value[] = {1, 2, 2, 1, 1, 2, 3, 3};
    double lower[] = {0, 0, 0};
    double upper[] = {10, 10, 10};
    char *colNames[] = {"x1", "x2", "x3"};
    char *rowNames[] = {"machine", "labour", "demand"};
    status = QVNcopylpwnames(env, lp, 3, 3, QVN_MAX, obj, rhs, sense, colStart, colCount,
                             rowIndex, value, lower, upper, NULL, colNames, rowNames);
    if (status) goto done;
  }
  printf("Problem 'production': %d rows, %d columns, %d nonzeros, %s\n",
         QVNgetnumrows(env, lp), QVNgetnumcols(env, lp), QVNgetnumnz(env, lp),
         QVNgetobjsen(env, lp) == QVN_MAX ? "maximize" : "minimize");

done:
  if (status) {
    char text[1024];
    if (QVNgeterrorstring(env, status, text)) fprintf(stderr, "%s", text);
  }
  QVNfreeprob(env, &lp);
  QVNcloseQUORVAN(&env);
  return status ? 1 : 0;
}
