// Records are copied word by word: a program may hand in any address.
#include "boardsim/devices/records.h"

#include <cstring>

namespace boardsim {

std::uint32_t word(const void* record, std::size_t index) {
  std::uint32_t value = 0;
  std::memcpy(&value, static_cast<const char*>(record) + index * sizeof value, sizeof value);
  return value;
}

void set_word(void* record, std::size_t index, std::uint32_t value) {
  std::memcpy(static_cast<char*>(record) + index * sizeof value, &value, sizeof value);
}

std::vector<std::uint32_t> words(const void* record, std::size_t count) {
  if (record == nullptr) return {};
  std::vector<std::uint32_t> result;
  for (std::size_t i = 0; i < count; ++i) result.push_back(word(record, i));
  return result;
}

std::uint32_t value_argument(const void* argument) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(argument));
}

}  // namespace boardsim
