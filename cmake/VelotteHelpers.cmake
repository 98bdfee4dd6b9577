# velotte_area(NAME SOURCES... LIBS ...): one static library per src/ area.
function(velotte_area name)
  cmake_parse_arguments(A "" "" "SOURCES;LIBS" ${ARGN})
  add_library(velotte_${name} STATIC ${A_SOURCES})
  target_include_directories(velotte_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(velotte_${name} PUBLIC ${A_LIBS})
endfunction()

# velotte_test(NAME SOURCES... LIBS ... LABELS ... [ENV ...] [TIMEOUT s]):
# one GoogleTest executable registered as one CTest entry.
function(velotte_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;LABELS;ENV;ARGS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} velotte_testkit GTest::gtest GTest::gmock)
  target_compile_definitions(${name} PRIVATE VELOTTE_TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/data")
  add_test(NAME ${name} COMMAND ${name} ${T_ARGS})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  set_tests_properties(${name} PROPERTIES LABELS "${T_LABELS}" TIMEOUT ${T_TIMEOUT}
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;${T_ENV}")
endfunction()

# velotte_display_test(NAME): a test on an X display. The X client libraries
# keep per-display allocations that the sanitizers cannot unwind, so in
# sanitized builds these programs are checked for memory errors, not leaks.
function(velotte_display_test name)
  if(VELOTTE_SANITIZE)
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT
      "ASAN_OPTIONS=new_delete_type_mismatch=0:alloc_dealloc_mismatch=0:detect_leaks=0")
  endif()
endfunction()
