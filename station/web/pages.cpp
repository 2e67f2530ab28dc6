#include "station/web/pages.h"

#include <algorithm>
#include <set>

namespace t1station {
namespace {

// Takes the file and whatever its text names as "/page/NAME".
void take(std::string_view path, std::set<std::string_view>& taken) {
  const PageFile* file = page_file(path);
  if (!file || !taken.insert(file->path).second) return;
  constexpr std::string_view kStart = "\"/page/";
  for (std::size_t at = file->bytes.find(kStart); at != std::string_view::npos;
       at = file->bytes.find(kStart, at + 1)) {
    const std::size_t end = file->bytes.find('"', at + 1);
    if (end != std::string_view::npos) take(file->bytes.substr(at + 1, end - at - 1), taken);
  }
}

std::set<std::string_view> files_of_login_page() {
  std::set<std::string_view> taken;
  take("/login", taken);
  return taken;
}

}  // namespace

const PageFile* page_file(std::string_view path) {
  const std::span<const PageFile> files = page_files();
  const auto found =
      std::find_if(files.begin(), files.end(), [path](const PageFile& file) { return file.path == path; });
  return found == files.end() ? nullptr : &*found;
}

bool is_of_login_page(std::string_view path) {
  static const std::set<std::string_view> kFiles = files_of_login_page();
  return kFiles.contains(path);
}

}  // namespace t1station
