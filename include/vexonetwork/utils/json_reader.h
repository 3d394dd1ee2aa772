#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace vexonetwork::utils {

/// Parses JSON text, comments allowed (RFC 8259 with C and C++ comments). Nesting beyond the
/// parser's limit is a failure like any other; nothing is thrown.
/// @return whether the text was JSON; `value` is unchanged when not
bool ParseJson(const std::string& text, Json::Value& value);

/// The same, but text that is no JSON leaves in `value` what the parser had made of it by then.
bool ParseJsonInPlace(const std::string& text, Json::Value& value);

/// The single-line rendering, ending with a newline.
std::string ToCompactText(const Json::Value& value);

/// The rendering of several lines, indented by tabs, comments kept, ending with a newline.
std::string ToTabbedText(const Json::Value& value);

/// Members of an object, each only when it is there with exactly this type (a bool is no int, nor
/// is a number with a fraction or beyond 32 bits; 3.0 is 3). Any kind of `object` is allowed;
/// nothing is thrown.
std::optional<std::string> GetString(const Json::Value& object, const char* key);
std::optional<int> GetInt(const Json::Value& object, const char* key);
std::optional<bool> GetBool(const Json::Value& object, const char* key);

}  // namespace vexonetwork::utils
