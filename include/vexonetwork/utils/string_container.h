#pragma once

#include <json/value.h>

#include <set>
#include <string>
#include <vector>

#include <vlib/szlist.h>

/// Lists of strings in their four shapes: vector, set (unique, ascending by bytes), JSON array and
/// the platform's string list. A null VLIBSZLIST reads as empty; JSON that is no array reads as
/// empty, and its elements that are no strings are skipped.
namespace vexonetwork::utils {

using StringVector = std::vector<std::string>;
using StringSet = std::set<std::string>;

Json::Value ConvertToJsonArray(VLIBSZLIST* list);
Json::Value ConvertToJsonArray(const StringVector& strings);
Json::Value ConvertToJsonArray(const StringSet& strings);

/// Replaces the contents of a list, which may move.
/// @return the list's count, or -1 (null list, no memory)
int ConvertToVLIBList(const StringVector& strings, VLIBSZLIST*& list);
int ConvertToVLIBList(const StringSet& strings, VLIBSZLIST*& list);

StringVector ConvertToVector(const StringSet& strings);
StringVector ConvertToVector(const Json::Value& array);
StringVector ConvertToVector(VLIBSZLIST* list);

StringSet ConvertToSet(VLIBSZLIST* list);
StringSet ConvertToSet(const Json::Value& array);
StringSet ConvertToSet(const StringVector& strings);

/// Splits at every character of `delimiters`, trims white space and drops what is then empty. A
/// null argument gives an empty result.
StringVector ParseToVector(const char* text, const char* delimiters);
StringSet ParseToSet(const char* text, const char* delimiters);
Json::Value ParseToJsonArray(const char* text, const char* delimiters);

/// "null" for a null value, otherwise the indented rendering of several lines.
std::string ConvertToString(const Json::Value& value);

/// Joins the elements `start` to `start` + `count` - 1, to the last one when `count` is -1. A start
/// past the end gives "". The JSON form logs and gives "" for what is no array and when an element
/// of the range cannot become a string (an object, an array).
std::string ConvertToString(const StringVector& strings, const std::string& separator, int start,
                            int count);
std::string ConvertToString(const StringSet& strings, const std::string& separator, int start,
                            int count);
std::string ConvertToString(const Json::Value& array, const std::string& separator, int start,
                            int count);

/// @return the index of the first element equal to `text`, or -1
int Find(const std::string& text, const StringVector& strings);
bool IsExist(const std::string& text, const StringVector& strings);

/// Erases the first element equal to `text`; later ones stay.
void Remove(const std::string& text, StringVector& strings);

/// @param count  negative takes all from `start` on
StringVector GetElementInRange(const StringVector& strings, int start, int count);

/// Sorts ascending and drops repeats. @return the new size
int GetUniqueStrVector(StringVector& strings);

/// What is in `a` and not in `b`. The vector form gives it ascending and without repeats, except
/// that with an empty argument it is `a` as it stands.
StringSet GetDiff(const StringSet& a, const StringSet& b);
StringVector GetDiff(const StringVector& a, const StringVector& b);

/// What is in both, ascending; what repeats in both is given as often as it does in each.
StringVector GetIntersection(const StringVector& a, const StringVector& b);

/// One line at LOG_INFO.
void Print(const Json::Value& value);
void Print(const StringVector& strings);
void Print(const StringSet& strings);

}  // namespace vexonetwork::utils
