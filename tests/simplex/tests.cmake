list(APPEND QUORVAN_TEST_SOURCES
  simplex/lp_solve_test.cpp
)
