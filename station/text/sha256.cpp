#include "station/text/sha256.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace t1station {

std::string sha256_hex(std::string_view bytes) {
  // Looking for it takes OpenSSL longer than a short text does.
  static const EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (sha256 == nullptr ||
      EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, sha256, nullptr) != 1) {
    throw std::runtime_error("SHA-256 is not available on this PC");
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex;
  for (unsigned i = 0; i < size; ++i) {
    hex += kDigits[digest.at(i) >> 4U];
    hex += kDigits[digest.at(i) & 0xFU];
  }
  return hex;
}

}  // namespace t1station
