velotte_test(test_cloud_records
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/records_test.cpp ${CMAKE_CURRENT_LIST_DIR}/config_test.cpp
  LIBS velotte_cloud
  LABELS unit)

velotte_test(test_cloud_client
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/client_test.cpp ${CMAKE_CURRENT_LIST_DIR}/fakes.h
  LIBS velotte_cloud velotte_fakes
  LABELS unit)

velotte_test(test_cloud_wire
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/wire_test.cpp ${CMAKE_CURRENT_LIST_DIR}/fakes.h
  LIBS velotte_cloud velotte_fakes
  LABELS integration)
