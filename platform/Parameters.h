// Parameter strings of the host: "Name=Value" pairs joined by "|".
#pragma once

#include <string>

namespace orcadx::platform {

// The value of `name` in `parameters` (names compare without case; blanks around names and values
// are dropped), or an empty string.
std::string GetParameterValue(const std::string& parameters, const std::string& name);

// Joins pairs the way the module itself builds parameter strings: with " | ".
std::string JoinParameters(const std::string& left, const std::string& right);

}  // namespace orcadx::platform
