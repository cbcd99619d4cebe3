#pragma once

#include <optional>

namespace Qiv {

template <class T>
using Optional = std::optional<T>;

}  // namespace Qiv
