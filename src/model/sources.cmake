list(APPEND QUORVAN_SOURCES
  src/model/attachments.cpp
  src/model/cache.cpp
  src/model/changes.cpp
  src/model/clone.cpp
  src/model/copy.cpp
  src/model/datacheck.cpp
  src/model/names.cpp
  src/model/problem.cpp
  src/model/space.cpp
)
