// Alarm inputs, read from GPIO lines into a word.
#include <iterator>

#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/gpio.h"

namespace {

/// The line of one input. Boards for which get_device_type_MA533() is 4 may have another one; they are asked
/// for every bit anew.
struct InputLine {
  unsigned line;
  unsigned ma533_line = 0;  ///< 0: the same on all boards
};

// clang-format off
constexpr InputLine kFiveInputs[]     = {{74, 25}, {76, 26}, {77, 27}, {78, 28}, {94, 29}};
constexpr InputLine k65xxInputs[]     = {{74, 25}, {76, 26}, {77, 27}, {78, 28}, {20}, {17}, {15}, {8}, {59}, {94}};
constexpr InputLine kEightInputs[]    = {{74, 25}, {76, 26}, {77, 27}, {78, 28}, {20}, {17}, {15}, {94, 29}};
constexpr InputLine k6194Inputs[]     = {{17}, {18}, {19}, {20}, {114}, {114}, {114}, {114}};  // SYNC is bit 7
constexpr InputLine kRkdInputs[]      = {{18}, {19}};
constexpr InputLine kOtherRkdInputs[] = {{74}, {76}};
// clang-format on

template <std::size_t N>
void read_inputs(int fd, const InputLine (&inputs)[N], std::uint32_t* word) {
  for (std::size_t bit = 0; bit < N; ++bit) {
    const InputLine& input = inputs[bit];
    const bool other = input.ma533_line != 0 && get_device_type_MA533() == DEV_TYPE_68XX;
    if (gpio_get_value(fd, other ? input.ma533_line : input.line) > 0) *word |= 1U << bit;
  }
}

}  // namespace

void getTriggerIn(int fd, std::uint32_t* word) {
  read_inputs(fd, kFiveInputs, word);
}

void getTriggerIn_Ex(int fd, std::uint32_t* word) {
  if (is_65xx_devType() == 1) {
    read_inputs(fd, k65xxInputs, word);
  } else {
    read_inputs(fd, kEightInputs, word);
  }
}

void getTriggerIn_6194(int fd, std::uint32_t* word) {
  read_inputs(fd, k6194Inputs, word);
}

void getTriggerInRkd(int fd, std::uint32_t* word) {
  if (is_RKD_devType() != 0) {
    read_inputs(fd, kRkdInputs, word);
  } else {
    read_inputs(fd, kOtherRkdInputs, word);
  }
}
