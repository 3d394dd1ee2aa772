#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace vexonetctl {

/// A table that is shaped by what it holds, of which what is not printable is shown as '?'. Rows
/// that would exceed the line fold, where there is a folding column: a cell of it goes beneath its
/// left neighbour. What the last column holds beyond the line goes on in the next one.
class Table {
  public:
    using Row = std::vector<std::string>;
    static constexpr std::size_t kLineWidth = 80;

    /// @param foldColumn  the column that may go beneath its left neighbour, not the first
    explicit Table(Row headerRow, std::optional<std::size_t> foldColumn = std::nullopt);

    /// @param row  as many cells as the header
    void Add(Row row);

    void Print(std::ostream& out) const;

  private:
    std::vector<Row> rows;
    std::optional<std::size_t> fold;
};

}  // namespace vexonetctl
