#include "print/table.h"

#include <algorithm>
#include <ostream>

#include "print/printable.h"

namespace vexonetctl {
namespace {

constexpr std::size_t kGap = 2;
using Rows = std::vector<Table::Row>;

std::vector<std::size_t> Widths(const Rows& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    }
    return widths;
}

/// Where the last column begins.
std::size_t LastColumnStart(const std::vector<std::size_t>& widths) {
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < widths.size(); ++i) {
        start += widths[i] + kGap;
    }
    return start;
}

Rows Folded(const Rows& rows, std::size_t column) {
    Rows folded;
    for (Table::Row row : rows) {
        Table::Row below(row.size() - 1);
        below[column - 1] = row[column];
        row.erase(row.begin() + std::ptrdiff_t(column));
        folded.push_back(std::move(row));
        if (!below[column - 1].empty()) {
            folded.push_back(std::move(below));
        }
    }
    return folded;
}

void PrintLine(std::ostream& out, const Table::Row& row, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        line += row[i] + std::string(widths[i] + kGap - WidthOf(row[i]), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

/// How much of the text goes into a line: up to the last blank that lets it fit, if there is one.
std::size_t LengthOfLine(const std::string& text, std::size_t width) {
    const std::size_t fitting = LengthWithin(text, width);
    const std::size_t blank = fitting < text.size() ? text.rfind(' ', fitting) : text.npos;
    return blank == text.npos || blank == 0 ? fitting : blank;
}

void PrintRow(std::ostream& out, Table::Row row, const std::vector<std::size_t>& widths) {
    std::string left = row.back();
    do {
        const std::size_t length = LengthOfLine(left, widths.back());
        row.back() = left.substr(0, length);
        left.erase(0, left.find_first_not_of(' ', length));
        PrintLine(out, row, widths);
        std::ranges::fill(row, "");
    } while (!left.empty());
}

}  // namespace

Table::Table(Row headerRow, std::optional<std::size_t> foldColumn)
    : rows{std::move(headerRow)}, fold(foldColumn) {}

void Table::Add(Row row) {
    std::ranges::transform(row, row.begin(), Printable);
    rows.push_back(std::move(row));
}

void Table::Print(std::ostream& out) const {
    auto widths = Widths(rows);
    const bool tooWide = LastColumnStart(widths) + widths.back() > kLineWidth;
    const Rows shaped = tooWide && fold ? Folded(rows, *fold) : rows;
    widths = Widths(shaped);
    const std::size_t room = kLineWidth - std::min(kLineWidth, LastColumnStart(widths));
    widths.back() = std::min(widths.back(), std::max(room, WidthOf(shaped.front().back())));
    for (const Row& row : shaped) {
        PrintRow(out, row, widths);
    }
}

}  // namespace vexonetctl
