list(APPEND QUORVAN_TEST_SOURCES
  barrier/barrier_test.cpp
  barrier/ordering_test.cpp
)
