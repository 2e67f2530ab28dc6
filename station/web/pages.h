// The pages' files, and which of them can be seen without a login.
#pragma once

#include <string>
#include <string_view>

#include "station/web/page_files.h"

namespace t1station {

/// The file that is served under a path, "/" or "/page/line.css"; null when there is none.
const PageFile* page_file(std::string_view path);

/// Whether the login page needs the file, by itself or through another one of its files.
bool is_of_login_page(std::string_view path);

}  // namespace t1station
