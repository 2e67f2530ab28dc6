#include "station/central/address.h"

#include <libpq-fe.h>

#include <memory>

#include "station/text/errors.h"

namespace t1station {
namespace {

using Options = std::unique_ptr<PQconninfoOption, void (*)(PQconninfoOption*)>;

bool is_given(const PQconninfoOption& option, std::string_view name) {
  return option.keyword == name && option.val != nullptr && *option.val != '\0';
}

}  // namespace

bool is_central_url(std::string_view word) {
  return word.starts_with("postgresql://") || word.starts_with("postgres://");
}

std::string trouble_with_central_url(const std::string& url) {
  char* trouble = nullptr;  // has the URL in it, and so a password: not for people
  const Options options(PQconninfoParse(url.c_str(), &trouble), PQconninfoFree);
  PQfreemem(trouble);
  if (!is_central_url(url) || url.find('\0') != std::string::npos || !options) {
    return "it is no URL of a PostgreSQL database, as postgresql://USER@HOST/DATABASE is one";
  }
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    if (is_given(*option, "password") || is_given(*option, "sslpassword")) {
      return "a password in the URL would be seen: it belongs into the password file (~/.pgpass, PGPASSFILE) "
             "or the environment (PGPASSWORD)";
    }
  }
  return {};
}

void check_central_url(const std::string& url) {
  const std::string trouble = trouble_with_central_url(url);
  if (!trouble.empty()) throw UsageError("the central database: " + trouble);
}

}  // namespace t1station
