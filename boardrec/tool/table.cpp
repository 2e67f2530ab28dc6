#include "boardrec/tool/table.h"

#include <algorithm>
#include <iomanip>

namespace boardrec {

void show_table(const std::vector<std::vector<std::string>>& rows, std::size_t texts, std::ostream& out) {
  std::vector<std::size_t> widths;
  for (const std::vector<std::string>& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const std::vector<std::string>& row : rows) {
    out << ' ';
    for (std::size_t i = 0; i < row.size(); ++i) {
      const bool last = i + 1 == row.size();
      out << (i == 0 ? " " : "  ");
      if (i < texts && last) {
        out << row[i];
      } else {
        out << (i < texts ? std::left : std::right) << std::setw(static_cast<int>(widths[i])) << row[i];
      }
    }
    out << '\n';
  }
}

}  // namespace boardrec
