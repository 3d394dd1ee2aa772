#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include <vexobase/log.h>
#include <vexonetwork/utils/json_reader.h>
#include <vexonetwork/utils/string_container.h>
#include <vlib/text.h>

namespace vexonetwork::utils {

namespace {

struct Range {
    Json::ArrayIndex begin;
    Json::ArrayIndex end;
};

/// The elements that a join covers. Start and count are compared as unsigned, so that a negative
/// start lies past every end.
Range JoinRange(std::size_t size, int start, int count) {
    const auto most = static_cast<Json::ArrayIndex>(size);
    const auto begin = static_cast<Json::ArrayIndex>(start);
    const auto end = count == -1 ? most : begin + static_cast<Json::ArrayIndex>(count);
    return {begin, std::min(end, most)};
}

template <typename TextAt>
std::string Join(const Range& range, const std::string& separator, const TextAt& textAt) {
    std::string joined;
    for (auto i = range.begin; i < range.end; ++i) {
        if (i != range.begin) {
            joined += separator;
        }
        joined += textAt(i);
    }
    return joined;
}

template <typename Strings>
Json::Value ToArray(const Strings& strings) {
    Json::Value array(Json::arrayValue);
    for (const auto& text : strings) {
        array.append(text);
    }
    return array;
}

template <typename Strings>
int Replace(const Strings& strings, VLIBSZLIST*& list) {
    if (list == nullptr) {
        return -1;
    }
    VLIBCSzListClean(list);
    for (const std::string& text : strings) {
        if (VLIBCSzListPush(&list, text.c_str()) < 0) {
            return -1;
        }
    }
    return list->count;
}

template <typename Strings>
std::string BlankAfterEach(const Strings& strings) {
    std::string line;
    for (const std::string& text : strings) {
        line += text + " ";
    }
    return line;
}

}  // namespace

Json::Value ConvertToJsonArray(VLIBSZLIST* list) {
    return ToArray(ConvertToVector(list));
}

Json::Value ConvertToJsonArray(const StringVector& strings) {
    return ToArray(strings);
}

Json::Value ConvertToJsonArray(const StringSet& strings) {
    return ToArray(strings);
}

int ConvertToVLIBList(const StringVector& strings, VLIBSZLIST*& list) {
    return Replace(strings, list);
}

int ConvertToVLIBList(const StringSet& strings, VLIBSZLIST*& list) {
    return Replace(strings, list);
}

StringVector ConvertToVector(const StringSet& strings) {
    return {strings.begin(), strings.end()};
}

StringVector ConvertToVector(const Json::Value& array) {
    StringVector strings;
    if (!array.isArray()) {
        return strings;
    }
    for (const Json::Value& element : array) {
        if (element.isString()) {
            strings.push_back(element.asString());
        }
    }
    return strings;
}

StringVector ConvertToVector(VLIBSZLIST* list) {
    StringVector strings;
    for (int i = 0; list != nullptr && i < list->count; ++i) {
        strings.emplace_back(VLIBCSzListGet(list, i));
    }
    return strings;
}

StringSet ConvertToSet(VLIBSZLIST* list) {
    return ConvertToSet(ConvertToVector(list));
}

StringSet ConvertToSet(const Json::Value& array) {
    return ConvertToSet(ConvertToVector(array));
}

StringSet ConvertToSet(const StringVector& strings) {
    return {strings.begin(), strings.end()};
}

StringVector ParseToVector(const char* text, const char* delimiters) {
    StringVector strings;
    if (text == nullptr || delimiters == nullptr) {
        return strings;
    }
    const std::unique_ptr<char, decltype(&std::free)> copy(::strdup(text), &std::free);
    char* rest = copy.get();
    while (char* token = ::strsep(&rest, delimiters)) {
        if (*VLIBCStrTrimSpace(token, 0) != '\0') {
            strings.emplace_back(token);
        }
    }
    return strings;
}

StringSet ParseToSet(const char* text, const char* delimiters) {
    return ConvertToSet(ParseToVector(text, delimiters));
}

Json::Value ParseToJsonArray(const char* text, const char* delimiters) {
    return ConvertToJsonArray(ParseToVector(text, delimiters));
}

std::string ConvertToString(const Json::Value& value) {
    return value.isNull() ? "null" : value.toStyledString();
}

std::string ConvertToString(const StringVector& strings, const std::string& separator, int start,
                            int count) {
    return Join(JoinRange(strings.size(), start, count), separator,
                [&](Json::ArrayIndex i) -> const std::string& { return strings[i]; });
}

std::string ConvertToString(const StringSet& strings, const std::string& separator, int start,
                            int count) {
    return ConvertToString(ConvertToVector(strings), separator, start, count);
}

std::string ConvertToString(const Json::Value& array, const std::string& separator, int start,
                            int count) {
    if (!array.isArray()) {
        VEXO_LOG(LOG_ERR, "Bad Parameter.");
        return "";
    }
    const Range range = JoinRange(array.size(), start, count);
    for (auto i = range.begin; i < range.end; ++i) {
        if (!array[i].isConvertibleTo(Json::stringValue)) {
            VEXO_LOG(LOG_ERR, "Wrong Type.");
            return "";
        }
    }
    return Join(range, separator, [&](Json::ArrayIndex i) { return array[i].asString(); });
}

int Find(const std::string& text, const StringVector& strings) {
    const auto found = std::find(strings.begin(), strings.end(), text);
    return found == strings.end() ? -1 : static_cast<int>(found - strings.begin());
}

bool IsExist(const std::string& text, const StringVector& strings) {
    return Find(text, strings) != -1;
}

void Remove(const std::string& text, StringVector& strings) {
    if (const int index = Find(text, strings); index != -1) {
        strings.erase(strings.begin() + index);
    }
}

StringVector GetElementInRange(const StringVector& strings, int start, int count) {
    const auto size = static_cast<long>(strings.size());
    const long end = count < 0 ? size : std::min(long{start} + count, size);
    if (start < 0 || start >= end) {
        return {};
    }
    return {strings.begin() + start, strings.begin() + end};
}

int GetUniqueStrVector(StringVector& strings) {
    std::sort(strings.begin(), strings.end());
    strings.erase(std::unique(strings.begin(), strings.end()), strings.end());
    return static_cast<int>(strings.size());
}

StringSet GetDiff(const StringSet& a, const StringSet& b) {
    StringSet difference;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(),
                        std::inserter(difference, difference.end()));
    return difference;
}

StringVector GetDiff(const StringVector& a, const StringVector& b) {
    // Callers rely on the order of `a` when there is nothing to take away.
    if (a.empty() || b.empty()) {
        return a;
    }
    return ConvertToVector(GetDiff(ConvertToSet(a), ConvertToSet(b)));
}

StringVector GetIntersection(const StringVector& a, const StringVector& b) {
    StringVector sortedA = a;
    StringVector sortedB = b;
    std::sort(sortedA.begin(), sortedA.end());
    std::sort(sortedB.begin(), sortedB.end());
    StringVector common;
    std::set_intersection(sortedA.begin(), sortedA.end(), sortedB.begin(), sortedB.end(),
                          std::back_inserter(common));
    return common;
}

void Print(const Json::Value& value) {
    VEXO_LOG(LOG_INFO, "INFO: json [%s]", ToCompactText(value).c_str());
}

void Print(const StringVector& strings) {
    VEXO_LOG(LOG_INFO, "INFO: vector:[%s]", BlankAfterEach(strings).c_str());
}

void Print(const StringSet& strings) {
    VEXO_LOG(LOG_INFO, "INFO: set [%s]", BlankAfterEach(strings).c_str());
}

}  // namespace vexonetwork::utils
