list(APPEND QUORVAN_SOURCES
  src/runtime/alloc.cpp
  src/runtime/channels.cpp
  src/runtime/debug_checks.cpp
  src/runtime/environment.cpp
  src/runtime/errors.cpp
  src/runtime/limit_clock.cpp
  src/runtime/file_backends.cpp
  src/runtime/files.cpp
  src/runtime/param_file.cpp
  src/runtime/params.cpp
  src/runtime/params_api.cpp
  src/runtime/progress_callback.cpp
  src/runtime/sort.cpp
  src/runtime/threads.cpp
)
