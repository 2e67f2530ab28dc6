// SHA-256, by which plans, records and sign-ins are told.
#pragma once

#include <string>
#include <string_view>

namespace t1station {

/// SHA-256 of the bytes, 64 lower-case hex digits. Throws std::runtime_error on a PC whose OpenSSL has it
/// not.
std::string sha256_hex(std::string_view bytes);

}  // namespace t1station
