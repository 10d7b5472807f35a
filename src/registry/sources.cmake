list(APPEND QUORVAN_SOURCES
  src/registry/attachments.cpp
)
