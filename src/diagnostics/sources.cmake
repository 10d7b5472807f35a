list(APPEND QUORVAN_SOURCES
  src/diagnostics/conflict_api.cpp
  src/diagnostics/conflict_search.cpp
  src/diagnostics/conflict_write.cpp
)
