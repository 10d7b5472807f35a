list(APPEND QUORVAN_TEST_SOURCES
  network/net_check.cpp
  network/net_hybrid_test.cpp
  network/net_problem_test.cpp
  network/net_simplex_test.cpp
)
