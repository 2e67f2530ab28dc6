#include "boardrec/compare/answers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "boardrec/session/encoding.h"

namespace boardrec {
namespace {

constexpr std::uint32_t kBootBlock = 0x80044801;
constexpr std::uint32_t kInterfaceAddress = 0x8915;
constexpr double kClockTolerance = 1.5;  // seconds: it counts whole ones
constexpr double kEnoughRoom = 100e6;    // bytes of a medium, more than any program stores
constexpr std::size_t kBytesShown = 8;
constexpr std::string_view kSensors = "/proc/debug/temp";
constexpr std::string_view kBuilt = "BUILD: ";

/// The parts of a boot block that no two boards share: first byte and number of bytes.
struct OwnPart {
  std::size_t from, size;
};
constexpr std::array kOwnParts{OwnPart{4, 4},     // checksum
                               OwnPart{53, 12},   // MAC addresses
                               OwnPart{65, 18},   // date and number of production
                               OwnPart{128, 64},  // model
                               OwnPart{192, 8}};  // when it was written

std::string error_text(const Record& record) {
  if ((record.flags & kBegan) != 0) return "did not return";
  if (record.error == 0) return std::to_string(record.result);
  const char* const name = strerrorname_np(record.error);
  return std::to_string(record.result) + " " + (name != nullptr ? name : std::to_string(record.error));
}

/// A number that each program has for itself.
bool gives_number(Call call) {
  return call == Call::open || call == Call::socket || call == Call::accept || call == Call::fopen;
}

std::optional<Difference> difference_of_results(const Record& recorded, const Record& simulated) {
  const auto outcome = [](const Record& record) {
    const bool failed = record.error != 0 || record.result < 0;
    return gives_number(record.call) && !failed ? std::int64_t{0} : record.result;
  };
  const bool equal = outcome(recorded) == outcome(simulated) && recorded.error == simulated.error &&
                     (recorded.flags & kBegan) == (simulated.flags & kBegan);
  if (equal) return std::nullopt;
  return Difference{"result", error_text(recorded), error_text(simulated)};
}

std::string bytes_shown(const std::string& bytes, std::size_t at) {
  std::string text;
  for (std::size_t i = at; i < std::min(bytes.size(), at + kBytesShown); ++i) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "%s%02x", i > at ? " " : "",
                  static_cast<unsigned>(static_cast<unsigned char>(bytes[i])));
    text += hex;
  }
  return text.empty() ? "nothing" : text;
}

Difference difference_of_bytes(const std::string& recorded, const std::string& simulated) {
  const auto at = static_cast<std::size_t>(std::ranges::mismatch(recorded, simulated).in1 - recorded.begin());
  return {"bytes from " + std::to_string(at) + " on", bytes_shown(recorded, at), bytes_shown(simulated, at)};
}

/// A driver's record: 32-bit words.
Difference difference_of_words(const std::string& recorded, const std::string& simulated) {
  std::uint32_t one = 0;
  std::uint32_t other = 0;
  for (std::size_t at = 0; at + sizeof one <= std::min(recorded.size(), simulated.size()); at += sizeof one) {
    std::memcpy(&one, recorded.data() + at, sizeof one);
    std::memcpy(&other, simulated.data() + at, sizeof other);
    if (one == other) continue;
    const auto text = [](std::uint32_t word) {
      char hex[24];
      std::snprintf(hex, sizeof hex, word < 0x10000 ? "%u" : "0x%08x", word);
      return std::string(hex);
    };
    return {"word " + std::to_string(at / sizeof one + 1), text(one), text(other)};
  }
  return difference_of_bytes(recorded, simulated);
}

/// What a board tells of itself alone becomes zero.
std::string without_own_parts(std::string block) {
  for (const OwnPart& part : kOwnParts) {
    for (std::size_t i = part.from; i < std::min(part.from + part.size, block.size()); ++i) block[i] = 0;
  }
  return block;
}

/// Any number is as good as another: the temperature is the room's.
std::string without_numbers(const std::string& text) {
  std::string kind;
  for (const char letter : text) {
    const bool is_digit = letter >= '0' && letter <= '9';
    if (!is_digit || kind.empty() || kind.back() != '0') kind += is_digit ? '0' : letter;
  }
  return kind;
}

std::string without_build(const std::string& document) {
  const auto at = document.find(kBuilt);
  if (at == std::string::npos) return document;
  const auto end = document.find_first_of("\r\n<", at);
  return document.substr(0, at) + document.substr(std::min(end, document.size()));
}

/// What of a file's status two boards share: size and mode.
std::string shared(const std::string& bytes, Status status) {
  if (bytes.size() != sizeof status) return bytes;
  std::memcpy(&status, bytes.data(), sizeof status);
  char text[64];
  std::snprintf(text, sizeof text, "%lld bytes, mode 0%o", static_cast<long long>(status.size), status.mode);
  return text;
}

/// The same of a file system: its type, and whether there is room for what programs store there.
std::string shared(const std::string& bytes, FileSystem system) {
  if (bytes.size() != sizeof system) return bytes;
  std::memcpy(&system, bytes.data(), sizeof system);
  const double free = static_cast<double>(system.available) * static_cast<double>(system.block_size);
  const char* const room = free <= 0 ? "no room" : free < kEnoughRoom ? "less than 100 MB free" : "room";
  return "type " + std::to_string(system.type) + ", " + room;
}

/// Terminal settings, each with its name.
std::vector<std::string> settings_of(const std::string& bytes) {
  TerminalSettings settings{};
  if (bytes.size() != sizeof settings) return {bytes};
  std::memcpy(&settings, bytes.data(), sizeof settings);
  const auto mask = [](const char* name, std::uint32_t number) {
    char text[48];
    std::snprintf(text, sizeof text, "%s 0%o", name, number);
    return std::string(text);
  };
  std::vector<std::string> all{mask("input", settings.input),
                               mask("output", settings.output),
                               mask("control", settings.control),
                               mask("local", settings.local),
                               mask("input speed", settings.input_speed),
                               mask("output speed", settings.output_speed)};
  for (std::size_t i = 0; i < sizeof settings.characters; ++i)
    all.push_back("character " + std::to_string(i) + " " + std::to_string(settings.characters[i]));
  return all;
}

std::optional<Difference> difference_of_settings(const Value& recorded, const Value& simulated) {
  const std::vector<std::string> one = settings_of(recorded.bytes);
  const std::vector<std::string> other = settings_of(simulated.bytes);
  const auto [left, right] = std::ranges::mismatch(one, other);
  if (left == one.end() && right == other.end()) return std::nullopt;
  return Difference{"settings", left != one.end() ? *left : "none", right != other.end() ? *right : "none"};
}

template <class Layout>
std::optional<Difference> difference_of_layouts(std::string_view name, const Value& recorded,
                                                const Value& simulated) {
  const std::string one = shared(recorded.bytes, Layout{});
  const std::string other = shared(simulated.bytes, Layout{});
  if (one == other) return std::nullopt;
  return Difference{std::string(name), one, other};
}

std::optional<Difference> difference_of_blocks(const Value& recorded, const Value& simulated) {
  const auto digest = [](const Value& value) {
    return value.type == ValueType::digest ? value.digest : digest_of(value.bytes);
  };
  if (recorded.size == simulated.size && digest(recorded) == digest(simulated)) return std::nullopt;
  const auto text = [&](const Value& value) {
    char hex[64];
    std::snprintf(hex, sizeof hex, "%u bytes, digest %016llx", value.size,
                  static_cast<unsigned long long>(digest(value)));
    return std::string(hex);
  };
  return Difference{"bytes", text(recorded), text(simulated)};
}

bool is_request(const Record& record, std::uint32_t request) {
  return record.call == Call::ioctl && static_cast<std::uint32_t>(value_at(record.in, 1).number) == request;
}

std::optional<Difference> difference_of_values(std::string_view name, const Question& recorded,
                                               const Value& one, const Value& other) {
  if (one.type == ValueType::digest || other.type == ValueType::digest)
    return difference_of_blocks(one, other);
  if (one.type == ValueType::number && other.type == ValueType::number) {
    if (name == "stream" || name == "time" || name == "thread" || one.number == other.number)
      return std::nullopt;
    return Difference{std::string(name), std::to_string(one.number), std::to_string(other.number)};
  }
  if (name == "address") return std::nullopt;
  if (name == "status") return difference_of_layouts<Status>(name, one, other);
  if (name == "statfs") return difference_of_layouts<FileSystem>(name, one, other);
  if (name == "settings") return difference_of_settings(one, other);
  std::string first = one.bytes;
  std::string second = other.bytes;
  if (is_request(*recorded.call->record, kBootBlock)) {
    first = without_own_parts(first);
    second = without_own_parts(second);
  }
  if (recorded.device.starts_with(kSensors) && without_numbers(first) == without_numbers(second))
    return std::nullopt;
  if (first == second) return std::nullopt;
  if (name == "record" && !is_request(*recorded.call->record, kBootBlock))
    return difference_of_words(first, second);
  return difference_of_bytes(first, second);
}

/// Everything that came back, value by value. The descriptors of a select stand in its result.
std::optional<Difference> difference_of_outs(const Question& recorded, const Question& simulated) {
  const Record& one = *recorded.call->record;
  const Record& other = *simulated.call->record;
  const CallRow* const row = find_call(one.call);
  if (one.call == Call::select || one.call == Call::poll || is_request(one, kInterfaceAddress))
    return std::nullopt;
  std::string_view names = row->out;
  for (std::size_t i = 0; !names.empty(); ++i) {
    const std::size_t end = std::min(names.find(' '), names.size());
    const auto found =
        difference_of_values(names.substr(0, end), recorded, value_at(one.out, i), value_at(other.out, i));
    if (found) return found;
    names.remove_prefix(std::min(end + 1, names.size()));
  }
  return std::nullopt;
}

std::optional<Difference> difference_of_durations(const Record& recorded, const Record& simulated,
                                                  const Tolerance& tolerance) {
  const auto milliseconds = [](const Record& record) {
    return static_cast<double>(record.ended - record.began) / 1e6;
  };
  const double one = milliseconds(recorded);
  const double other = milliseconds(simulated);
  const double allowed = tolerance.milliseconds + tolerance.percent / 100 * std::max(one, other);
  if (std::abs(one - other) <= allowed) return std::nullopt;
  const auto text = [](double time) {
    char number[48];
    std::snprintf(number, sizeof number, "%.3f ms", time);
    return std::string(number);
  };
  return Difference{"duration", text(one), text(other)};
}

std::optional<Difference> difference_of_clocks(const Question& recorded, const Question& simulated) {
  const double recorded_drift = recorded.clock_drift.value_or(0);
  const double simulated_drift = simulated.clock_drift.value_or(0);
  if (std::abs(recorded_drift - simulated_drift) <= kClockTolerance) return std::nullopt;
  const auto text = [](double drift) {
    char number[64];
    std::snprintf(number, sizeof number, "%+.1f s against time passed", drift);
    return std::string(number);
  };
  return Difference{"clock", text(recorded_drift), text(simulated_drift)};
}

}  // namespace

std::optional<Difference> difference_of(const Question& recorded, const Question& simulated,
                                        const Tolerance& tolerance) {
  if (!recorded.document.empty() || !simulated.document.empty()) {
    const std::string one = without_build(recorded.document);
    const std::string other = without_build(simulated.document);
    if (one == other) return std::nullopt;
    return difference_of_bytes(one, other);
  }
  const Record& one = *recorded.call->record;
  const Record& other = *simulated.call->record;
  if (auto found = difference_of_results(one, other)) return found;
  if (recorded.clock_drift && simulated.clock_drift) {
    if (auto found = difference_of_clocks(recorded, simulated)) return found;
  } else if (auto found = difference_of_outs(recorded, simulated)) {
    return found;
  }
  if (!recorded.has_duration || !simulated.has_duration) return std::nullopt;
  return difference_of_durations(one, other, tolerance);
}

}  // namespace boardrec
