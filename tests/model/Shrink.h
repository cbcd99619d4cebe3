#pragma once

#include <functional>

#include "Step.h"

namespace Model {

/// A history that still fails and of which no chunk and no single step can be left out, as far as
/// the deadline allowed to try. `fails` must hold for the history that is given.
[[nodiscard]] History shrunk(History history, const std::function<bool(const History&)>& fails,
                             const std::function<bool()>& timeIsUp);

}  // namespace Model
