list(APPEND QUORVAN_TEST_SOURCES
  runtime/alloc_test.cpp
  runtime/environment_test.cpp
  runtime/errors_test.cpp
  runtime/channels_test.cpp
  runtime/params_test.cpp
  runtime/param_file_test.cpp
  runtime/files_test.cpp
)
