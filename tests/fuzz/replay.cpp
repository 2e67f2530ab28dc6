// Runs the stored inputs of a fuzz target: every file of the folders, and every file, that the command line
// names. Status 0 when the target has come through all of them.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& file) {
  // Told before it runs: whoever crashes says nothing afterwards.
  std::cerr << "replay: " << file.string() << std::endl;
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(stream), {}};
  // A copy of exactly this size, so that a sanitizer sees each byte too far.
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

std::vector<fs::path> files_of(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  try {
    for (int i = 1; i < argc; ++i) {
      for (const fs::path& file : files_of(argv[i])) {
        replay(file);
        ++count;
      }
    }
  } catch (const std::exception& error) {
    std::cerr << "replay: " << error.what() << std::endl;
    return 1;
  }
  std::cerr << "replay: " << count << " inputs" << std::endl;
  return count > 0 ? 0 : 1;
}
