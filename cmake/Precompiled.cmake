# conmon_precompile(TARGET [HEADER...]): the library headers that its sources spend most of their
# compile time on, parsed once; the named ones as well. Every source still includes what it uses.
function(conmon_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <chrono> <functional> <map> <memory> <optional> <string> <string_view> <variant>
    <vector> <fmt/format.h> <nlohmann/json.hpp> ${ARGN})
endfunction()
