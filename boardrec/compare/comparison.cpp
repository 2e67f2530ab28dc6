#include "boardrec/compare/comparison.h"

#include <algorithm>
#include <map>
#include <utility>

#include "boardrec/compare/alignment.h"
#include "boardrec/compare/questions.h"

namespace boardrec {
namespace {

/// Threads beside the main one go round and round while a session lasts: at its end one has done it once more
/// than the other. So many questions, and one of so many.
constexpr std::size_t kSpareQuestions = 4;
constexpr std::size_t kSpareShare = 25;

std::string text_of(const Question& question) {
  if (!question.document.empty())
    return "the program's document to the station, " + std::to_string(question.document.size()) + " bytes";
  return text(*question.call);
}

/// Goes through two sessions and collects.
class Comparing {
 public:
  Comparing(const Session& recorded, const Session& simulated, const Tolerance& tolerance)
      : recorded_(recorded), simulated_(simulated), tolerance_(tolerance) {}

  Comparison run() {
    static const SessionThread none;
    std::map<std::uint16_t, std::pair<const SessionThread*, const SessionThread*>> threads;
    for (const SessionThread& thread : recorded_.threads) threads[thread.number].first = &thread;
    for (const SessionThread& thread : simulated_.threads) threads[thread.number].second = &thread;
    for (const auto& [number, pair] : threads) {
      last_difference_ = {};
      compare_threads(number, pair.first != nullptr ? *pair.first : none,
                      pair.second != nullptr ? *pair.second : none);
    }
    for (auto& [name, device] : devices_) result_.devices.push_back(device);
    std::ranges::stable_sort(result_.findings, {}, &Finding::device);
    for (Finding& finding : result_.findings) finding.compared = compared_[{finding.device, finding.kind}];
    result_.requests = recorded_.requests;
    return std::move(result_);
  }

 private:
  void compare_threads(std::uint16_t number, const SessionThread& one, const SessionThread& other) {
    static const Segment none;
    const std::size_t count = std::max(one.segments.size(), other.segments.size());
    for (std::size_t i = 0; i < count; ++i) {
      const bool is_last = i + 1 >= one.segments.size();
      compare_segments(number, i < one.segments.size() ? one.segments[i] : none,
                       i < other.segments.size() ? other.segments[i] : none, is_last);
    }
  }

  void compare_segments(std::uint16_t number, const Segment& one, const Segment& other, bool is_last) {
    const auto asked = [](const Segment& segment) {
      std::vector<std::string> texts;
      for (const Question& question : segment.questions) texts.push_back(question.asked);
      return texts;
    };
    std::vector<Aligned> aligned = align(asked(one), asked(other));
    leave_out_tail(aligned, number, is_last);
    Parting parting{.segment = one.name.empty() ? other.name : one.name};
    for (const Aligned& place : aligned) {
      if (place.a && place.b) {
        const bool parted = parting.recorded + parting.simulated > 0;
        compare_answers(one.questions[*place.a], other.questions[*place.b], parting.segment, parted);
      } else {
        part(parting, place.a ? &one.questions[*place.a] : nullptr,
             place.b ? &other.questions[*place.b] : nullptr);
      }
    }
    if (parting.recorded + parting.simulated > 0) result_.partings.push_back(parting);
  }

  /// What one of them asked behind the other's last question, where that says nothing.
  void leave_out_tail(std::vector<Aligned>& aligned, std::uint16_t number, bool is_last) const {
    const auto drop = [&aligned](std::size_t most, bool of_recorded) {
      std::size_t count = 0;
      while (count < aligned.size()) {
        const Aligned& place = aligned[aligned.size() - 1 - count];
        if ((place.a && place.b) || (place.a && !of_recorded)) break;
        ++count;
      }
      if (count <= most) aligned.resize(aligned.size() - count);
    };
    if (number != 0) return drop(kSpareQuestions + aligned.size() / kSpareShare, true);
    // The recording stopped somewhere, the simulated program had two minutes more.
    if (is_last && !recorded_.ended) drop(aligned.size(), false);
  }

  void compare_answers(const Question& one, const Question& other, const std::string& segment, bool parted) {
    DeviceCount& device = count_of(one);
    ++device.compared;
    ++compared_[{one.device, one.kind}];
    const auto difference = difference_of(one, other, tolerance_);
    if (!difference) return;
    ++device.differ;
    auto found = std::ranges::find_if(result_.findings, [&](const Finding& finding) {
      return finding.device == one.device && finding.kind == one.kind;
    });
    if (found == result_.findings.end()) {
      result_.findings.push_back({.device = one.device,
                                  .kind = one.kind,
                                  .segment = segment,
                                  .time = one.call->record->began,
                                  .question = text_of(one),
                                  .difference = *difference,
                                  .after_parting = parted});
      found = result_.findings.end() - 1;
    }
    ++found->differ;
    if (one.device == kStation) return;  // what the program says of other answers
    last_difference_ = {one.device, text_of(one) + ": " + difference->what + " " + difference->recorded +
                                        ", simulated " + difference->simulated};
  }

  void part(Parting& parting, const Question* recorded, const Question* simulated) {
    if (parting.recorded + parting.simulated == 0) {
      parting.because_device = last_difference_.first;
      parting.because = last_difference_.second;
    }
    if (recorded != nullptr) {
      if (parting.recorded++ == 0) parting.first_recorded = text_of(*recorded);
      ++count_of(*recorded).only_recorded;
    }
    if (simulated != nullptr) {
      if (parting.simulated++ == 0) parting.first_simulated = text_of(*simulated);
      ++count_of(*simulated).only_simulated;
    }
  }

  DeviceCount& count_of(const Question& question) {
    DeviceCount& device = devices_[question.device];
    device.device = question.device;
    return device;
  }

  const Session& recorded_;
  const Session& simulated_;
  const Tolerance& tolerance_;
  std::map<std::string, DeviceCount> devices_;
  std::map<std::pair<std::string, std::string>, std::size_t> compared_;  ///< by device and kind
  std::pair<std::string, std::string> last_difference_;                  ///< its device, and its text
  Comparison result_;
};

}  // namespace

Comparison compare(const Recording& recorded, const Recording& simulated, const Tolerance& tolerance) {
  const Session one = session_of(recorded);
  const Session other = session_of(simulated);
  return Comparing(one, other, tolerance).run();
}

}  // namespace boardrec
