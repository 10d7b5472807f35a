list(APPEND QUORVAN_TEST_SOURCES
  model/edit_errors_test.cpp
  model/events_test.cpp
  model/mip_data_test.cpp
  model/names_test.cpp
  model/problem_test.cpp
  model/random_edit_test.cpp
  model/read_back.cpp
  model/warm_edits_test.cpp
)
