// Figures in columns.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace boardrec {

/// Writes a table below its headings, its columns as wide as they need; the first so many are texts, all
/// others numbers, which end below one another.
void show_table(const std::vector<std::vector<std::string>>& rows, std::size_t texts, std::ostream& out);

}  // namespace boardrec
