#include "monitor/net/Failure.h"

#include <cerrno>
#include <cstring>

namespace Monitor {

Result noAnswer(std::string text) { return {Outcome::kNoAnswer, {}, std::move(text)}; }

Result notMeasured(std::string text) { return {Outcome::kNotMeasured, {}, std::move(text)}; }

Result connectFailure(int error) {
  Result result;
  switch (error) {
    case ECONNREFUSED:
      result = noAnswer("refused");
      break;
    case ETIMEDOUT:
      result = noAnswer("timed out");
      break;
    case ECONNRESET:
      result = noAnswer("reset");
      break;
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EHOSTDOWN:
      result = noAnswer(std::string("unreachable: ") + std::strerror(error));
      break;
    default:
      result = notMeasured(std::string("connect: ") + std::strerror(error));
  }
  result.error = error;
  return result;
}

}  // namespace Monitor
