// Reads the tables of the document: each stands under a heading that names its codes and boards.
#include "tests/matrix/unseen_wires.h"

#include <fstream>
#include <stdexcept>

namespace {

constexpr std::size_t kMany = 6;  // so many shorts are counted and not listed

/// The faults of one table, in its order.
struct Table {
  std::vector<std::string> unseen{};
  std::size_t shorts = 0;         ///< between two inputs
  std::size_t unseen_shorts = 0;  ///< of them
};

/// The boards behind "ode 520: " in a heading, empty when it has none of this code.
std::string boards_of(const std::string& heading, int code) {
  const std::string mark = "ode " + std::to_string(code) + ": ";
  const std::size_t found = heading.find(mark);
  if (found == std::string::npos) return "";
  const std::size_t begin = found + mark.size();
  return heading.substr(begin, heading.find(';', begin) - begin);
}

void add_line(Table& table, const std::string& line) {
  const std::string fault = line.substr(2, line.find(" |", 2) - 2);
  const bool is_short = fault.starts_with("short ") && !fault.ends_with(" GND");
  const bool is_unseen = line.find("**not found**") != std::string::npos;
  table.shorts += is_short;
  table.unseen_shorts += is_short && is_unseen;
  if (is_unseen) table.unseen.push_back(fault);
}

std::string text_of(const Table& table) {
  const bool counted = table.unseen_shorts >= kMany;
  std::string text;
  for (const std::string& fault : table.unseen) {
    if (counted && fault.starts_with("short ")) continue;
    text += (text.empty() ? "`" : ", `") + fault + "`";
  }
  if (!counted) return text;
  const std::string how_many = std::to_string(table.unseen_shorts) + " of " + std::to_string(table.shorts);
  return text + (text.empty() ? "" : ", ") + "`short` of two inputs: " + how_many + " pairs";
}

}  // namespace

std::vector<UnseenWires> unseen_wires(int code) {
  std::ifstream document(FAULT_MATRIX);
  if (!document) throw std::runtime_error("cannot read " FAULT_MATRIX);
  std::vector<UnseenWires> all;
  std::string boards;
  Table table;
  const auto end_table = [&] {
    if (!boards.empty() && !table.unseen.empty()) all.push_back({boards, text_of(table)});
    table = {};
  };
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("## ")) {
      end_table();
      boards = boards_of(line, code);
    } else if (!boards.empty() && line.starts_with("| ")) {
      add_line(table, line);
    }
  }
  end_table();
  return all;
}
