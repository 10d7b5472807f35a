list(APPEND QUORVAN_TEST_SOURCES
  formats/format_test_support.cpp
  formats/number_format_test.cpp
  formats/mps_reader_test.cpp
  formats/lp_reader_test.cpp
  formats/shared_models_test.cpp
  formats/writers_test.cpp
  formats/writer_round_trip_test.cpp
  formats/malformed_test.cpp
  formats/dispatch_test.cpp
  formats/install_test.cpp
  formats/cli_test.cpp
  formats/side_files_test.cpp
  formats/side_restart_test.cpp
  formats/dual_writer_test.cpp
  formats/read_arrays_test.cpp
)
