#include <cstring>
#include <exception>
#include <sstream>
#include <utility>

#include <vexonetwork/utils/json_reader.h>

namespace vexonetwork::utils {

namespace {

// Deprecated, but what they accept and print is what the bus, the files and the log have always
// seen. They are touched in this one place.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

bool ReadText(const std::string& text, Json::Value& value) {
    return Json::Reader().parse(text, value);
}

std::string WriteText(const Json::Value& value) {
    return Json::FastWriter().write(value);
}

std::string WriteTabbedText(const Json::Value& value) {
    std::ostringstream text;
    Json::StyledStreamWriter("\t").write(text, value);
    return std::move(text).str();
}

#pragma GCC diagnostic pop

const Json::Value* FindMember(const Json::Value& object, const char* key) {
    return object.isObject() ? object.find(key, key + std::strlen(key)) : nullptr;
}

}  // namespace

bool ParseJson(const std::string& text, Json::Value& value) {
    Json::Value parsed;
    if (!ParseJsonInPlace(text, parsed)) {
        return false;
    }
    value = std::move(parsed);
    return true;
}

bool ParseJsonInPlace(const std::string& text, Json::Value& value) {
    try {
        return ReadText(text, value);
    } catch (const std::exception&) {
        return false;
    }
}

std::string ToCompactText(const Json::Value& value) {
    return WriteText(value);
}

std::string ToTabbedText(const Json::Value& value) {
    return WriteTabbedText(value);
}

std::optional<std::string> GetString(const Json::Value& object, const char* key) {
    const Json::Value* member = FindMember(object, key);
    return member != nullptr && member->isString() ? std::optional(member->asString())
                                                   : std::nullopt;
}

std::optional<int> GetInt(const Json::Value& object, const char* key) {
    const Json::Value* member = FindMember(object, key);
    // 3.0 is the same JSON number as 3, and isInt takes both.
    return member != nullptr && member->isInt() ? std::optional(member->asInt()) : std::nullopt;
}

std::optional<bool> GetBool(const Json::Value& object, const char* key) {
    const Json::Value* member = FindMember(object, key);
    return member != nullptr && member->isBool() ? std::optional(member->asBool()) : std::nullopt;
}

}  // namespace vexonetwork::utils
