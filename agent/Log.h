#pragma once

#include <string>

namespace Agent {

/// One line for the operator, on standard error, behind the program's name.
void logLine(const std::string& text);

}  // namespace Agent
