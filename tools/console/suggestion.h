#pragma once

#include <string>
#include <vector>

namespace sorvane::tools {

/// The name that was probably meant by `text`, small and capital letters alike; empty where none is
/// near.
std::string nearestName(const std::string& text, const std::vector<std::string>& names);

/// "; did you mean 'NAME'?", or nothing.
std::string suggestion(const std::string& text, const std::vector<std::string>& names);

/// The names with commas between them, fit for a message.
std::string listOfNames(const std::vector<std::string>& names);

} // namespace sorvane::tools
