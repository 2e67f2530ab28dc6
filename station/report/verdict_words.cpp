#include "station/report/verdict_words.h"

#include <algorithm>
#include <array>
#include <span>

namespace t1station {
namespace {

struct OutcomeWords {
  std::string_view name, sign, zh, en;
};

constexpr std::array<OutcomeWords, 5> kVerdictWords{{{"passed", "✓ ", "合格", "PASS"},
                                                     {"failed", "✕ ", "不合格", "FAIL"},
                                                     {"error", "! ", "异常", "ERROR"},
                                                     {"stopped", "■ ", "停止", "STOPPED"},
                                                     {"interrupted", "? ", "中断", "INTERRUPTED"}}};
constexpr std::array<OutcomeWords, 6> kOutcomes{{{"passed", "", "合格", "passed"},
                                                 {"failed", "", "不合格", "failed"},
                                                 {"timed_out", "", "超时", "timed out"},
                                                 {"broken", "", "通信中断", "connection broke"},
                                                 {"stopped", "", "停止", "stopped"},
                                                 {"interrupted", "", "中断", "interrupted"}}};
constexpr std::array<OutcomeWords, 4> kMeasured{{{"passed", "", "合格", "passed"},
                                                 {"low", "", "偏低", "too low"},
                                                 {"high", "", "偏高", "too high"},
                                                 {"not_found", "", "未测得", "not found"}}};

std::string words_of(std::span<const OutcomeWords> all, const std::string& name, Wording say) {
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const OutcomeWords& one) { return one.name == name; });
  return found == all.end() ? name : std::string(found->sign) + say(found->zh, found->en);
}

}  // namespace

std::string verdict_words(const std::optional<std::string>& verdict, Wording say) {
  return verdict ? words_of(kVerdictWords, *verdict, say) : "… " + say("未结束", "NO END YET");
}

std::string outcome_words(const std::string& outcome, Wording say) {
  return words_of(kOutcomes, outcome, say);
}

std::string measured_words(const std::string& outcome, Wording say) {
  return words_of(kMeasured, outcome, say);
}

pugi::xml_node add_verdict(pugi::xml_node to, const std::optional<std::string>& verdict, Wording say,
                           std::string_view of_class) {
  std::string classes = "verdict " + verdict.value_or("open");
  if (!of_class.empty()) classes += " " + std::string(of_class);
  return add(to, "span", verdict_words(verdict, say), classes);
}

}  // namespace t1station
