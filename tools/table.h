#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace vexonetctl {

/// What is no printable ASCII is shown as '?': the texts come from others, and a terminal obeys
/// some of them.
std::string Printable(std::string text);

/// A table that is shaped by what it holds. Rows that would exceed the line fold: a cell of the
/// folding column goes beneath its left neighbour. What the last column holds beyond the line
/// goes on in the next one.
class Table {
  public:
    using Row = std::vector<std::string>;
    static constexpr std::size_t kLineWidth = 80;

    /// @param foldColumn  the column that may go beneath its left neighbour
    Table(Row headerRow, std::size_t foldColumn);

    /// @param row  as many cells as the header
    void Add(Row row);

    void Print(std::ostream& out) const;

  private:
    std::vector<Row> rows;
    std::size_t fold;
};

}  // namespace vexonetctl
