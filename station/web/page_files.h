// The files that the pages are made of, inside the program.
#pragma once

#include <span>
#include <string_view>

namespace t1station {

/// A file of a page.
struct PageFile {
  std::string_view path, media_type, bytes;
};

/// The page's files, as they are served.
std::span<const PageFile> page_files();

}  // namespace t1station
