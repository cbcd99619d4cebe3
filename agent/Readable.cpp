#include "agent/Readable.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Agent {

std::optional<std::string> whyUnreadable(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
    return std::strerror(errno);
  }
  if (S_ISDIR(status.st_mode)) {
    return std::strerror(EISDIR);
  }
  return std::nullopt;
}

}  // namespace Agent
