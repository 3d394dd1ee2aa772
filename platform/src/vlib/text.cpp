#include "vlib/text.h"

#include <algorithm>
#include <cstring>

#include "szlist_text.h"
#include "vlib/error.h"

namespace {

constexpr const char* kWhiteSpace = " \t\n\v\f\r";

}  // namespace

extern "C" {

char* VLIBCStrTrimSpace(char* text, int /*options*/) {
    if (text == nullptr) {
        return nullptr;
    }
    std::string_view kept(text);
    kept.remove_prefix(std::min(kept.find_first_not_of(kWhiteSpace), kept.size()));
    kept = kept.substr(0, kept.find_last_not_of(kWhiteSpace) + 1);
    std::memmove(text, kept.data(), kept.size());
    text[kept.size()] = '\0';
    return text;
}

int VLIBCStrSep(const char* text, const char* delimiters, VLIBSZLIST** list) {
    if (text == nullptr || delimiters == nullptr || list == nullptr || *list == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    int parts = 0;
    for (const char* part = text + std::strspn(text, delimiters); *part != '\0';) {
        const size_t length = std::strcspn(part, delimiters);
        if (vlib::PushText(*list, {part, length}) < 0) {
            return -1;
        }
        ++parts;
        part += length;
        part += std::strspn(part, delimiters);
    }
    return parts;
}
}
