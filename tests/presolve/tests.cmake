list(APPEND QUORVAN_TEST_SOURCES
  presolve/dependent_rows_test.cpp
  presolve/dualize_test.cpp
  presolve/netlib_presolve_test.cpp
  presolve/postsolve_random_test.cpp
  presolve/presolve_api_test.cpp
  presolve/presolved_rows_test.cpp
  presolve/reductions_test.cpp
  presolve/presolve_test_support.cpp
)
