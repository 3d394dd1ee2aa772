#include "print/printable.h"

#include <locale.h>
#include <wchar.h>
#include <wctype.h>

#include <algorithm>

namespace vexonetctl {
namespace {

/// UTF-8 for this thread, until its own end. A system without the locale shows ASCII.
class Utf8 {
  public:
    Utf8() : before(::uselocale(OfSystem())) {}
    ~Utf8() { ::uselocale(before); }
    Utf8(const Utf8&) = delete;
    Utf8& operator=(const Utf8&) = delete;

  private:
    static locale_t OfSystem() {
        static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale;
    }

    const locale_t before;
};

struct Character {
    std::size_t bytes;
    std::size_t columns;  ///< none of what must not be shown
};

/// The first character of a text that has one; what is none is one byte of it.
Character FirstOf(std::string_view text) {
    if (const unsigned char ascii = static_cast<unsigned char>(text.front()); ascii < 0x80) {
        return {1, ascii >= ' ' && ascii <= '~' ? 1U : 0U};  // nearly all there is
    }
    mbstate_t state{};
    wchar_t character = 0;
    const std::size_t bytes = ::mbrtowc(&character, text.data(), text.size(), &state);
    if (bytes == 0 || bytes > text.size()) {
        return {1, 0};
    }
    const int columns = ::iswprint(static_cast<wint_t>(character)) ? ::wcwidth(character) : 0;
    return {bytes, static_cast<std::size_t>(std::max(columns, 0))};
}

}  // namespace

std::string Printable(const std::string& text) {
    const Utf8 locale;
    std::string printable;
    for (std::string_view rest = text; !rest.empty();) {
        const Character first = FirstOf(rest);
        printable += first.columns == 0 ? "?" : rest.substr(0, first.bytes);
        rest.remove_prefix(first.bytes);
    }
    return printable;
}

std::size_t WidthOf(std::string_view printable) {
    const Utf8 locale;
    std::size_t width = 0;
    while (!printable.empty()) {
        const Character first = FirstOf(printable);
        width += first.columns;
        printable.remove_prefix(first.bytes);
    }
    return width;
}

std::size_t LengthWithin(std::string_view printable, std::size_t columns) {
    const Utf8 locale;
    std::size_t length = 0;
    std::size_t width = 0;
    while (length < printable.size()) {
        const Character next = FirstOf(printable.substr(length));
        width += next.columns;
        if (width > columns && length > 0) {
            break;
        }
        length += next.bytes;
    }
    return length;
}

}  // namespace vexonetctl
