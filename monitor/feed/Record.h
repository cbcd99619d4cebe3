#pragma once

#include <optional>
#include <string>

#include "monitor/config/Config.h"

namespace Monitor {

/// The key fields of a probe's record as they stand in a line of the feed, without braces. Equal
/// keys have equal texts. `address` is what the probe's destination stands for now.
[[nodiscard]] std::string recordKey(const ProbeConfig& probe, const IpAddress& address);

/// What a result publishes, as it stands in a line behind the key, each field with a comma before
/// it: the measurements, the status of an HTTP answer or the errno of a TCP connect where there is
/// one, and the result in words. Null when the result says nothing about the target.
///
/// "No answer" is a time of 0, and for ICMP a loss of 100. A time that was measured is never
/// published as 0: it is at least 0.001 ms.
[[nodiscard]] std::optional<std::string> recordValues(const ProbeConfig& probe,
                                                      const Result& result);

[[nodiscard]] std::string helloLine(const std::string& client, std::chrono::nanoseconds hold);
[[nodiscard]] std::string putLine(const std::string& key, const std::string& values);
[[nodiscard]] std::string removeLine(const std::string& key);

}  // namespace Monitor
