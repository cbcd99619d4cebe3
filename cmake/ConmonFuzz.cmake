# conmon_add_fuzzer(NAME SOURCES file... CORPUS folder... [LIBRARIES target...] [OPTIONS option...])
#
# SOURCES define LLVMFuzzerTestOneInput. With CONMON_FUZZ the program is linked with libFuzzer, and
# the test fuzz.NAME searches on from the corpus for a while, by the same seed in each run: what fails
# once fails again. `make fuzz` takes any seed. In every other build it is linked with
# a main that feeds it each file of the corpus once, so that what was once found stays fixed.
# OPTIONS are libFuzzer's.
set(CONMON_FUZZ_MAIN "${CMAKE_CURRENT_LIST_DIR}/fuzz_replay_main.cpp")
set(CONMON_FUZZ_SECONDS 20 CACHE STRING "How long a fuzz program searches within the tests")

add_custom_target(fuzzers)

function(conmon_add_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;CORPUS;OPTIONS")
  if(NOT arg_SOURCES OR NOT arg_CORPUS OR arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "conmon_add_fuzzer(${name}): SOURCES or CORPUS missing, or an unknown argument")
  endif()
  set(corpus)
  foreach(folder IN LISTS arg_CORPUS)
    cmake_path(ABSOLUTE_PATH folder)
    list(APPEND corpus "${folder}")
  endforeach()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  add_dependencies(fuzzers ${name})
  if(CONMON_FUZZ)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    # New inputs go to the first folder, in the build tree; the corpus in the sources is only read.
    set(found "${CMAKE_CURRENT_BINARY_DIR}/${name}.found")
    file(MAKE_DIRECTORY "${found}")
    # To look up names of new functions takes most of a short run, and to weigh inputs by how rare
    # their edges are (-entropic) nine tenths where they are many.
    add_test(NAME fuzz.${name} COMMAND ${name}
      -seed=1 -max_total_time=${CONMON_FUZZ_SECONDS} -timeout=60 ${arg_OPTIONS} -rss_limit_mb=2048
      -print_funcs=0 -entropic=0 -print_final_stats=1
      "-artifact_prefix=${found}/" "${found}" ${corpus})
    math(EXPR limit "${CONMON_FUZZ_SECONDS} + 100")
    set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT ${limit})
  else()
    target_sources(${name} PRIVATE "${CONMON_FUZZ_MAIN}")
    add_test(NAME fuzz.${name}.corpus COMMAND ${name} ${corpus})
    set_tests_properties(fuzz.${name}.corpus PROPERTIES TIMEOUT 120)
  endif()
endfunction()
