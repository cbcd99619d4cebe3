# conmon_options: what every object file of the project is compiled and linked with.

add_library(conmon_options INTERFACE)

target_compile_options(conmon_options INTERFACE
  -Werror
  -Wall -Wextra -Wpedantic
  -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
  -Wcast-qual -Wundef -Wimplicit-fallthrough
  # g++ 12 reports null dereferences inside inlined standard containers that are none.
  $<$<CXX_COMPILER_ID:Clang>:-Wnull-dereference>
  $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op -Wduplicated-cond>
  # A unique symbol pins its library in the process for good; the plug-in must be unloadable.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)

if(CONMON_SANITIZE)
  target_compile_options(conmon_options INTERFACE
    # The suite spends more time being compiled than it runs; a long search does not.
    $<IF:$<BOOL:${CONMON_FUZZ_LONG}>,-O1,-O0> -g1 -fno-omit-frame-pointer
    -fsanitize=address,undefined -fno-sanitize-recover=all)
  target_link_options(conmon_options INTERFACE -fsanitize=address,undefined)
else()
  target_compile_options(conmon_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection
    # Indirect calls and returns that an attacker led astray; a no-operation on older processors.
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection=full>
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE>
    $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=3>)
endif()

if(CONMON_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(conmon_options INTERFACE _GLIBCXX_ASSERTIONS)
endif()

target_link_options(conmon_options INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)

# What a search by libFuzzer is led by: product code counts how often each of its edges was taken. Only
# the counters where every test runs with them; a long search is shown what is compared as well.
if(CONMON_FUZZ)
  if(NOT CONMON_SANITIZE OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "CONMON_FUZZ needs CONMON_SANITIZE and clang: configure with the preset 'asan'")
  endif()
  set(CONMON_EDGE_COUNTERS -fsanitize-coverage=inline-8bit-counters,pc-table)
  if(CONMON_FUZZ_LONG)
    set(CONMON_EDGE_COUNTERS -fsanitize=fuzzer-no-link)
  endif()
endif()
