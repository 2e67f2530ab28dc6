// What a program's file tells about starting it: read from its ELF headers.
#include "boardsim/tool/program_file.h"

#include <elf.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace boardsim {
namespace {

// A thread sanitizer is none of them: the board must stand in front of it, since a thread of the program
// becomes known to the board before it becomes known to the sanitizer.
constexpr std::array<std::string_view, 3> kSanitizers{"libasan.so", "libubsan.so", "liblsan.so"};

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string contents_of(const std::string& path) {
  const File file(std::fopen(path.c_str(), "rbe"), std::fclose);
  if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
  std::string bytes;
  std::array<char, 65536> part{};
  for (std::size_t size = 1; size > 0;) {
    size = std::fread(part.data(), 1, part.size(), file.get());
    bytes.append(part.data(), size);
  }
  return bytes;
}

/// An ELF file's bytes; whatever lies outside of them reads as zeros.
class Elf {
 public:
  explicit Elf(std::string bytes) : bytes_(std::move(bytes)) {
    header_ = at<Elf64_Ehdr>(0);
    for (std::size_t i = 0; i < header_.e_phnum; ++i) {
      segments_.push_back(at<Elf64_Phdr>(header_.e_phoff + i * sizeof(Elf64_Phdr)));
    }
  }

  bool is_for_this_pc() const {
    return bytes_.starts_with(ELFMAG) && header_.e_ident[EI_CLASS] == ELFCLASS64 &&
           header_.e_machine == at_home().header_.e_machine;
  }

  const Elf64_Phdr* segment(std::uint32_t type) const {
    for (const Elf64_Phdr& segment : segments_) {
      if (segment.p_type == type) return &segment;
    }
    return nullptr;
  }

  /// Names of the libraries that the file needs itself.
  std::vector<std::string> needed() const {
    std::vector<std::size_t> names;
    std::size_t strings = 0;
    const Elf64_Phdr* dynamic = segment(PT_DYNAMIC);
    for (std::size_t i = 0; dynamic != nullptr && i < dynamic->p_filesz / sizeof(Elf64_Dyn); ++i) {
      const auto entry = at<Elf64_Dyn>(dynamic->p_offset + i * sizeof(Elf64_Dyn));
      if (entry.d_tag == DT_NULL) break;
      if (entry.d_tag == DT_NEEDED) names.push_back(entry.d_un.d_val);
      if (entry.d_tag == DT_STRTAB) strings = offset_of(entry.d_un.d_ptr);
    }
    std::vector<std::string> needed;
    for (const std::size_t name : names) needed.push_back(text_at(strings + name));
    return needed;
  }

 private:
  static const Elf& at_home() {
    static const Elf self(contents_of("/proc/self/exe"));
    return self;
  }

  template <typename Record>
  Record at(std::size_t offset) const {
    Record record{};
    if (offset <= bytes_.size() && bytes_.size() - offset >= sizeof record) {
      std::memcpy(&record, bytes_.data() + offset, sizeof record);
    }
    return record;
  }

  std::string text_at(std::size_t offset) const {
    const auto end = bytes_.find('\0', offset);
    return end == std::string::npos ? "" : bytes_.substr(offset, end - offset);
  }

  std::size_t offset_of(std::uint64_t address) const {
    for (const Elf64_Phdr& segment : segments_) {
      if (segment.p_type == PT_LOAD && address >= segment.p_vaddr &&
          address < segment.p_vaddr + segment.p_filesz) {
        return segment.p_offset + (address - segment.p_vaddr);
      }
    }
    return 0;
  }

  std::string bytes_;
  Elf64_Ehdr header_{};
  std::vector<Elf64_Phdr> segments_;
};

}  // namespace

std::string find_program(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    if (access(name.c_str(), X_OK) != 0) throw std::runtime_error(name + ": " + std::strerror(errno));
    return name;
  }
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    std::string candidate = (folder.empty() ? "." : folder) + "/" + name;
    if (access(candidate.c_str(), X_OK) == 0 && !std::filesystem::is_directory(candidate)) return candidate;
  }
  throw std::runtime_error(name + ": no such program");
}

ProgramFile read_program_file(const std::string& path) {
  const Elf elf(contents_of(path));
  if (!elf.is_for_this_pc()) throw std::runtime_error(path + " is no program for this PC");
  ProgramFile file{.dynamic = elf.segment(PT_INTERP) != nullptr};
  for (const std::string& library : elf.needed()) {
    for (const std::string_view sanitizer : kSanitizers) {
      if (library.starts_with(sanitizer)) file.sanitizers.push_back(library);
    }
  }
  return file;
}

}  // namespace boardsim
