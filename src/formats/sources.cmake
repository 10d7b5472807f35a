list(APPEND QUORVAN_SOURCES
  src/formats/char_classes.cpp
  src/formats/dispatch.cpp
  src/formats/dual_writer.cpp
  src/formats/lp_reader.cpp
  src/formats/lp_writer.cpp
  src/formats/model_image.cpp
  src/formats/mps_reader.cpp
  src/formats/mps_writer.cpp
  src/formats/mipstart_file.cpp
  src/formats/number_format.cpp
  src/formats/order_file.cpp
  src/formats/side_file.cpp
  src/formats/solution_xml.cpp
  src/formats/sos_file.cpp
  src/formats/write_check.cpp
)
