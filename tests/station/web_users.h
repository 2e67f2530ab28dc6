// Three users of a line, one of each role, and how they log in. Their hashes are cheap ones: tests log in
// often.
#pragma once

#include <string>

#include "tests/station/web_line.h"

namespace web_users {

inline std::string user_text(const std::string& name, const std::string& role, const std::string& hash) {
  return "[[user]]\nname = \"" + name + "\"\nrole = \"" + role +
         "\"\npassword = \"$argon2id$v=19$m=8,t=1,p=1$" + hash + "\"\n\n";
}

/// Their passwords are "viewer-password", "operator-password" and "engineer-password".
inline const std::string kViewer =
    user_text("Vera", "viewer", "DBv7c/B7uOT5d5VnFM2aLw$7VcSPeDt30wIXr51ohZ28QhabwTxChOZmEexQ/b6HlY");
inline const std::string kOperator =
    user_text("Wu", "operator", "gqG3aR1YrxN0C9ViuGf0hQ$mTXBlAEgJNJPfMHapfgs5om0mTJQachbJqp3/5VESQo");
inline const std::string kEngineer =
    user_text("Ente", "engineer", "DeIubUF9jptmQV06FEPxOQ$Ypie9Q/aF0YDyN2zyHwrIHH2roHgTL8oRc5ZM60GVgw");
/// The engineer with the password "other-password".
inline const std::string kEngineerAnew =
    user_text("Ente", "engineer", "UgLX/odJ7xodOTWwrfxHgg$OD9PjfQQuJaLEcL81XMPAouThp5eyyNGQfY+S52pX7g");

/// Gives a line these users before it starts.
inline void give_users(WebLine& line, const std::string& text) {
  line.file.users_file = line.directory.file("users.toml");
  records_support::write(line.file.users_file, text);
}

inline WebReply log_in(WebLine& line, const std::string& name, const std::string& password,
                       const std::string& fields = {}) {
  return line.post("/api/login", R"({"name": ")" + name + R"(", "password": ")" + password + "\"}", fields);
}

/// The field of a request that carries the session which an answer has begun.
inline std::string session_of(const WebReply& reply) {
  const std::string cookie = reply.field("set-cookie");
  return "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n";
}

}  // namespace web_users
