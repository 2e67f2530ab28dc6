// Passwords as Argon2id hashes in their usual text form.
#pragma once

#include <string>
#include <string_view>

namespace t1station {

/// The longest password, in bytes.
inline constexpr std::size_t kLongestPassword = 1024;

/// A new hash of a password, "$argon2id$v=19$m=65536,t=2,p=1$...". It takes 64 MiB and some 0.1 s. Throws
/// std::runtime_error when there is no memory for it.
std::string hash_password(std::string_view password);

/// Whether the text is such a hash that can be checked within 1 GiB of memory.
bool is_password_hash(const std::string& text);

/// Whether this is the password behind a hash. Takes as long for a wrong one.
bool is_password(const std::string& hash, std::string_view password);

/// 256 random bits in 64 hexadecimal digits.
std::string random_id();

}  // namespace t1station
