#include "station/report/failure_words.h"

#include <algorithm>

#include "station/report/plots.h"

namespace t1station {

ShownWords shown_words(const FailureKind& kind) {
  ShownWords shown{kind.words.value_or(""), {}};
  const bool is_clear = std::count(shown.words.begin(), shown.words.end(), '#') ==
                        static_cast<std::ptrdiff_t>(kind.numbers.size());
  std::size_t place = 0;
  for (const auto& [low, high] : kind.numbers) {
    place = shown.words.find('#', place);
    const std::string number = number_text(low);
    const bool is_as_said = !kind.examples.empty() && kind.examples.front().find(number) != std::string::npos;
    if (is_clear && low == high && is_as_said) {
      shown.words.replace(place, 1, number);
    } else {
      shown.numbers += (shown.numbers.empty() ? "# " : "; # ") + number;
      if (low != high) shown.numbers += " … " + number_text(high);
      if (is_clear) ++place;
    }
  }
  return shown;
}

}  // namespace t1station
