#pragma once

#include "monitor/Prober.h"

namespace Monitor {

/// What a failed connect() with this errno says: about the target or the way to it (kNoAnswer), or
/// about this machine only (kNotMeasured). The result has the errno.
[[nodiscard]] Result connectFailure(int error);

[[nodiscard]] Result noAnswer(std::string text);
[[nodiscard]] Result notMeasured(std::string text);

}  // namespace Monitor
