#include "monitor/net/Failure.h"

#include <cerrno>
#include <cstring>

namespace Monitor {

Result noAnswer(std::string text) { return {Outcome::kNoAnswer, {}, std::move(text)}; }

Result notMeasured(std::string text) { return {Outcome::kNotMeasured, {}, std::move(text)}; }

Result connectFailure(int error) {
  switch (error) {
    case ECONNREFUSED:
      return noAnswer("refused");
    case ETIMEDOUT:
      return noAnswer("timed out");
    case ECONNRESET:
      return noAnswer("reset");
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EHOSTDOWN:
      return noAnswer(std::string("unreachable: ") + std::strerror(error));
    default:
      return notMeasured(std::string("connect: ") + std::strerror(error));
  }
}

}  // namespace Monitor
