# conmon_add_test(NAME SOURCES file... [LIBRARIES target...] [TIMEOUT seconds] [PROPERTIES name value...])
#
# A GoogleTest program build/<preset>/tests/NAME, each of its tests known to ctest by its own name.
# Tests are listed when ctest starts, not while building, so a build runs nothing.
include(GoogleTest)
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)

# The libraries' headers cost more to parse than most tests: one precompiled header serves all.
add_library(conmon_test_pch OBJECT "${CMAKE_CURRENT_SOURCE_DIR}/cmake/test_pch.cpp")
target_link_libraries(conmon_test_pch PUBLIC GTest::gtest GTest::gmock)
target_link_libraries(conmon_test_pch PRIVATE fmt::fmt nlohmann_json::nlohmann_json)
conmon_precompile(conmon_test_pch <gmock/gmock.h> <gtest/gtest.h>)
set_target_properties(conmon_test_pch PROPERTIES POSITION_INDEPENDENT_CODE OFF)

function(conmon_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;PROPERTIES")
  if(NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "conmon_add_test(${name}): SOURCES missing or unknown '${arg_UNPARSED_ARGUMENTS}'")
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM conmon_test_pch)
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests"
    POSITION_INDEPENDENT_CODE OFF)
  gtest_discover_tests(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} ${arg_PROPERTIES})
endfunction()

# conmon_add_python_suites(ROOM ENVIRONMENT name=value...)
#
# Each test_*.py of the current folder, as the test integration.ROOM.NAME. The longest of all tests are
# among them, so they are begun first.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
function(conmon_add_python_suites room)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "ENVIRONMENT")
  file(GLOB files CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} test_*.py)
  foreach(file IN LISTS files)
    cmake_path(GET file STEM name)
    add_test(NAME integration.${room}.${name}
      COMMAND Python3::Interpreter -B -m unittest -v ${name}
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(integration.${room}.${name} PROPERTIES
      TIMEOUT 900
      COST 100
      SKIP_REGULAR_EXPRESSION "UNAVAILABLE: "
      ENVIRONMENT "${arg_ENVIRONMENT}")
  endforeach()
endfunction()
