// Where a central database is: a URL, without a password in it.
#pragma once

#include <string>
#include <string_view>

namespace t1station {

/// Whether a word is meant as a PostgreSQL database's URL, and not as a file's name.
bool is_central_url(std::string_view word);

/// What is wrong with a URL, for people, never with a password in it; empty when it can be used. Nothing is
/// connected to.
std::string trouble_with_central_url(const std::string& url);

/// Throws UsageError with what is wrong.
void check_central_url(const std::string& url);

}  // namespace t1station
