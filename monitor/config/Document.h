#pragma once

#include <yaml-cpp/yaml.h>

#include <string>

namespace Monitor {

/// The one document that a text in YAML is; a null node for a text without any. Throws
/// YAML::Exception for what is no YAML, and where a second document begins.
///
/// Not YAML::LoadAll(): on a text such as ",a" yaml-cpp 0.7 finds document after document without
/// getting any further, and so never ends.
[[nodiscard]] YAML::Node soleDocument(const std::string& text);

}  // namespace Monitor
