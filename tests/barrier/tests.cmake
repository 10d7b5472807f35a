list(APPEND QUORVAN_TEST_SOURCES
  barrier/barrier_test.cpp
  barrier/qp_barrier_test.cpp
  barrier/crossover_test.cpp
  barrier/ordering_test.cpp
)
