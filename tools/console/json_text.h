#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace sorvane::tools {

/// Keeps the order in which the members were set.
using Json = nlohmann::ordered_json;

/// Indented text with a line end. Bytes that are no UTF-8, which file names and model files may
/// hold, become U+FFFD.
inline std::string jsonText(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace sorvane::tools
