// The line's pages, as they are served: they are part of the program.
#pragma once

#include <span>
#include <string_view>

namespace t1station {

/// A file of the pages: the path under which it is served ("/", "/login", "/page/line.css"), its media type,
/// its bytes.
struct PageFile {
  std::string_view path, media_type, bytes;
};

/// The page's files, in no particular order; they last as long as the program.
std::span<const PageFile> page_files();

}  // namespace t1station
