#pragma once

#include <string>

#include "facts/family.h"

namespace vexonetctl {

/// Each tells what is wrong with a word of the command line; "" when nothing is.
std::string CheckInterfaceName(const std::string& name);
std::string CheckClassWord(const std::string& word);
std::string CheckPriority(const std::string& word);
std::string CheckOnOrOff(const std::string& word);
std::string CheckAddressV4(const std::string& word);
std::string CheckAddressLengthV6(const std::string& word);  ///< ADDRESS/LENGTH
std::string CheckRoutedPrefix(const std::string& word);     ///< the same, with room for a /64
std::string CheckLanPrefix(const std::string& word);        ///< the address of a /64, or with it

/// The daemon's number for what CheckPriority accepts: first, last, keep or a place in the list.
int PriorityNumber(const std::string& word);

/// Whether both texts are the same address of the family, however they are written ("" is none).
bool SameAddress(const Family& family, const std::string& one, const std::string& other);

/// The text to send for --gateway or --dns: an address, or "" for "none".
/// Fails as wrong usage when the text is neither.
std::string CheckedAddress(const Family& family, const std::string& option,
                           const std::string& text);

}  // namespace vexonetctl
