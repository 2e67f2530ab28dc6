// Pages for tests of the server: two that everybody may see, and two that need a login.
#include "station/web/page_files.h"

#include <array>

std::span<const t1station::PageFile> t1station::page_files() {
  static constexpr std::array<PageFile, 4> kFiles{{
      {"/", "text/html; charset=utf-8", "<title>line</title><script src=\"/page/line.js\"></script>"},
      {"/login", "text/html; charset=utf-8", "<title>login</title><script src=\"/page/login.js\"></script>"},
      {"/page/line.js", "text/javascript", "import \"/page/login.js\";"},
      {"/page/login.js", "text/javascript", "\"nothing to import\";"},
  }};
  return kFiles;
}
