// Tests as a command line names them, and what their requests may carry.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "catalogue/catalogue.h"

namespace t1station {

/// Whether the request carries a voltage.
inline bool takes_parameter(const catalogue::Test& test) {
  return test.voltages.highest > 0;
}

/// The code of the test that restarts the board after its reply.
inline constexpr std::int32_t kRestartCode = -15;

/// What a person calls this test: the title, or "test 1234" for a code that is not in the catalogue.
std::string title_of(std::int32_t code);

/// The short name of this test, or its decimal code when it is not in the catalogue.
std::string name_of(std::int32_t code);

/// The code that one word of a command line means: a decimal number, a hexadecimal one with 0x, or a short
/// name. Throws UsageError for anything else, for numbers beyond 32 bits, and for the two codes that are no
/// tests: those of service messages and of the quit request.
std::int32_t parse_code(const std::string& word);

/// The parameter that a word means: a whole number. Throws UsageError, which tells the unit, for anything
/// else.
std::int32_t parse_parameter(const std::string& word);

/// The voltages that such a test can set, for people: "600 to 1019 hundredths of a volt (6.00 V
/// to 10.19 V)".
std::string possible_voltages(const catalogue::Test& test);

/// Throws UsageError when this test cannot be asked for with this parameter, or without one: a test that
/// takes none, one that needs one, a voltage that the board does not know. Codes outside the catalogue take
/// anything.
void check_parameter(std::int32_t code, std::optional<std::int32_t> parameter);

/// The code that the reply to this test carries: its own, but 1024 for the pan-and-tilt port, which reports
/// as an RS485 test.
std::int32_t reply_code(std::int32_t code);

/// How long to wait for a test's reply when nobody said otherwise, in seconds: three times the usual length
/// and half a minute.
double default_timeout(std::int32_t code);

}  // namespace t1station
