list(APPEND QUORVAN_SOURCES
  src/simplex/lu/factor_build.cpp
  src/simplex/lu/factor_loop.cpp
  src/simplex/lu/line_file.cpp
  src/simplex/lu/solve.cpp
  src/simplex/lu/update.cpp
)
