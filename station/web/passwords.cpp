#include "station/web/passwords.h"

#include <sodium.h>

#include <array>
#include <charconv>
#include <stdexcept>

namespace t1station {
namespace {

constexpr unsigned kMostKibibytes = 1048576, kMostRounds = 20;

void prepare() {
  static const int kIsReady = sodium_init();
  if (kIsReady < 0) throw std::runtime_error("this PC gives no random numbers");
}

/// The number behind a name in "m=65536,t=2,p=1"; 0 when there is none.
unsigned cost(std::string_view text, std::string_view name) {
  const std::size_t at = text.find(name);
  if (at == std::string_view::npos) return 0;
  const std::string_view digits = text.substr(at + name.size());
  unsigned number = 0;
  return std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc() ? number : 0;
}

}  // namespace

std::string hash_password(std::string_view password) {
  prepare();
  std::array<char, crypto_pwhash_STRBYTES> hash{};
  if (crypto_pwhash_str(hash.data(), password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0) {
    throw std::runtime_error("there is no memory to hash a password");
  }
  return hash.data();
}

bool is_password_hash(const std::string& text) {
  prepare();
  if (!text.starts_with("$argon2id$v=19$m=") || text.size() >= crypto_pwhash_STRBYTES) return false;
  const unsigned memory = cost(text, "$m="), rounds = cost(text, ",t=");
  // What is no hash cannot be compared with today's costs either.
  return memory <= kMostKibibytes && rounds >= 1 && rounds <= kMostRounds &&
         crypto_pwhash_str_needs_rehash(text.c_str(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                                        crypto_pwhash_MEMLIMIT_INTERACTIVE) >= 0;
}

bool is_password(const std::string& hash, std::string_view password) {
  prepare();
  return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

std::string random_id() {
  prepare();
  std::array<unsigned char, 32> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  std::array<char, 2 * bytes.size() + 1> text{};
  sodium_bin2hex(text.data(), text.size(), bytes.data(), bytes.size());
  return text.data();
}

}  // namespace t1station
