#include "utils/field_scanner.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace vexonetwork::utils {

namespace {

constexpr std::string_view kSpace = " \t\n\v\f\r";

}  // namespace

void FieldScanner::SkipSpace() {
    rest.remove_prefix(std::min(rest.find_first_not_of(kSpace), rest.size()));
}

bool FieldScanner::Read(std::string_view& word) {
    SkipSpace();
    word = rest.substr(0, rest.find_first_of(kSpace));
    rest.remove_prefix(word.size());
    return !word.empty();
}

bool FieldScanner::Read(int& number) {
    SkipSpace();
    // Unlike a stream, from_chars takes no plus sign.
    if (rest.starts_with('+') && !rest.starts_with("+-")) {
        rest.remove_prefix(1);
    }
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return error == std::errc();
}

}  // namespace vexonetwork::utils
