// Keeps the tables in the simulator's documents equal to the tables in its code.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/board/state.h"

namespace {

using namespace boardsim;

constexpr std::string_view kMarker = "<!-- table: ";
constexpr std::string_view kCalls = "faults of calls";
constexpr std::string_view kRequests = "requests ";
constexpr std::string_view kFaults = "faults ";

/// As a cell of a table shows it.
std::string cell(std::string text) {
  for (std::size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2) text.insert(at, "\\");
  return text;
}

std::string row(const FaultLine& line) {
  return "| `" + cell(line.words) + "` | " + cell(line.possible) + " | " + cell(line.meaning) + " |\n";
}

std::string request_table(Board& board, std::string_view path) {
  const auto nodes = board.state().devices.nodes();
  const auto node = std::ranges::find(nodes, path, &Devices::Node::path);
  if (node == nodes.end()) throw std::runtime_error("there is no node " + std::string(path));
  std::string text = "| Request | Record | What it does |\n|---|---|---|\n";
  for (const Request& request : node->device->requests()) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%x", request.number);
    text.append("| `").append(number).append("` | ").append(request.record).append(" | ");
    text.append(request.meaning).append(" |\n");
  }
  return text;
}

/// The faults whose first words are these, or those of calls; they are taken out of `left`.
std::string fault_table(std::vector<FaultLine>& left, std::string_view wanted) {
  std::istringstream words{std::string(wanted)};
  const std::vector<std::string> first{std::istream_iterator<std::string>(words), {}};
  std::string text = "| Fault | Of | What happens |\n|---|---|---|\n";
  std::erase_if(left, [&](const FaultLine& line) {
    const std::string word = line.words.substr(0, line.words.find(' '));
    const bool of_call = line.words.find("[ERRNO") != std::string::npos || word == "interface";
    if (wanted == kCalls ? !of_call : of_call || std::ranges::find(first, word) == first.end()) return false;
    text += row(line);
    return true;
  });
  return text;
}

/// The page with what stands behind its markers written anew.
std::string written_anew(Board& board, std::vector<FaultLine>& left, const std::string& page) {
  std::string text;
  std::istringstream lines(page);
  bool in_table = false;
  for (std::string line; std::getline(lines, line);) {
    in_table = in_table && line.starts_with('|');
    if (!in_table) text.append(line).append("\n");
    if (!line.starts_with(kMarker)) continue;
    in_table = true;
    std::string_view what = std::string_view(line).substr(kMarker.size());
    what = what.substr(0, what.find(" -->"));
    if (what.starts_with(kRequests)) {
      text += request_table(board, what.substr(kRequests.size()));
    } else {
      text += fault_table(left, what == kCalls ? what : what.substr(kFaults.size()));
    }
  }
  return text;
}

std::string contents(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: simulator_pages FOLDER [--write]\n");
    return 64;
  }
  const bool write = argc > 2 && std::string_view(argv[2]) == "--write";
  Board board;
  std::vector<FaultLine> left = board.state().fault_list();
  int status = 0;
  for (const char* name : {"simulator.md", "simulator-devices.md"}) {
    const std::filesystem::path path = std::filesystem::path(argv[1]) / name;
    const std::string page = contents(path);
    const std::string anew = written_anew(board, left, page);
    if (page == anew) continue;
    if (write) {
      std::ofstream(path) << anew;
    } else {
      std::printf("%s is not what the code says; simulator_pages %s --write makes it so\n", path.c_str(),
                  argv[1]);
      status = 1;
    }
  }
  for (const FaultLine& line : left) {
    std::printf("no page has a table with the fault \"%s\"\n", line.words.c_str());
    status = 1;
  }
  return status;
}
