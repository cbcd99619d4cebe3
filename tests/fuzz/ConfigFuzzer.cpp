/// Configuration text: it is read, or refused with an error that begins with the file's name.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "FuzzInput.h"
#include "agent/config/ConfigFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const WithinASecond limit;
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    static_cast<void>(Agent::parseConfig(text, "conmon.yaml"));
  } catch (const Agent::ConfigError& error) {
    if (!std::string_view(error.what()).starts_with("conmon.yaml")) {
      std::abort();
    }
  }
  return 0;
}
