#include "boardrec/compare/comparison.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "boardrec/compare/alignment.h"
#include "boardrec/compare/blocks.h"
#include "boardrec/compare/questions.h"

namespace boardrec {
namespace {

/// Threads beside the main one go round and round while a session lasts, at one board a little faster than at
/// the other: so many questions, and one of so many, may be missing at the end.
constexpr std::size_t kSpareQuestions = 4;
constexpr std::size_t kSpareShare = 25;

std::string text_of(const Question& question) {
  if (!question.document.empty())
    return "the program's document to the station, " + std::to_string(question.document.size()) + " bytes";
  return text(*question.call);
}

/// Which questions are the same ones, by what was asked. What ends alike is put together first: the way
/// between may be longer than can be followed.
std::vector<Aligned> aligned_questions(const Segment& one, const Segment& other) {
  const auto& a = one.questions;
  const auto& b = other.questions;
  const auto alike = [&](std::size_t i, std::size_t j) { return a[i].asked == b[j].asked; };
  const std::size_t shorter = std::min(a.size(), b.size());
  std::size_t begin = 0;
  while (begin < shorter && alike(begin, begin)) ++begin;
  std::size_t end = 0;
  while (end < shorter - begin && alike(a.size() - 1 - end, b.size() - 1 - end)) ++end;
  std::vector<Aligned> all;
  for (std::size_t i = 0; i < begin; ++i) all.push_back({i, i});
  const auto middle = align(a.size() - begin - end, b.size() - begin - end,
                            [&](std::size_t i, std::size_t j) { return alike(begin + i, begin + j); });
  for (Aligned place : middle) {
    if (place.a) *place.a += begin;
    if (place.b) *place.b += begin;
    all.push_back(place);
  }
  for (std::size_t i = end; i > 0; --i) all.push_back({a.size() - i, b.size() - i});
  return all;
}

/// An answer that differed.
struct Cause {
  std::string device{};
  std::string text{};
};

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
      // A thread is missing because its creation failed, or because the main one ended before.
      const bool is_missing = pair.first == nullptr || pair.second == nullptr;
      if (!is_missing) last_difference_ = {};
      if (is_missing && !creation_.text.empty()) last_difference_ = creation_;
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
    const std::size_t before = result_.partings.size();
    for (std::size_t i = 0; i < count; ++i) {
      const bool is_last = i + 1 >= one.segments.size();
      const bool is_its_last = i + 1 == other.segments.size() && i < one.segments.size();
      if (is_its_last && is_stuck(number, one.segments[i], other.segments[i])) return;
      if (i > 0 && i >= other.segments.size() && result_.partings.size() > before) {
        add_rest(result_.partings.back(), one.segments[i]);
        continue;
      }
      compare_segments(number, i < one.segments.size() ? one.segments[i] : none,
                       i < other.segments.size() ? other.segments[i] : none, is_last);
    }
  }

  /// What the simulated program never came to.
  void add_rest(Parting& parting, const Segment& segment) {
    ++parting.more_segments;
    for (const Question& question : segment.questions) part(parting, &question, nullptr);
  }

  void compare_segments(std::uint16_t number, const Segment& one, const Segment& other, bool is_last) {
    std::vector<Aligned> aligned = aligned_questions(one, other);
    leave_out_tail(aligned, number, is_last);
    Parting parting{.segment = one.name.empty() ? other.name : one.name};
    for (const Aligned& place : aligned) {
      const bool parted = parting.recorded + parting.simulated > 0;
      const Question* const recorded = place.a ? &one.questions[*place.a] : nullptr;
      const Question* const simulated = place.b ? &other.questions[*place.b] : nullptr;
      if (recorded != nullptr && simulated != nullptr && is_same_question(*recorded, *simulated)) {
        compare_answers(*recorded, *simulated, parting.segment, parted);
      } else {
        part(parting, recorded, simulated);
      }
    }
    if (parting.recorded + parting.simulated > 0) result_.partings.push_back(parting);
  }

  /// The simulated program waits for ever for the answer to a question that the recorded one got answered:
  /// what would have come behind it says nothing. Whether that is so at the end of this segment, its last
  /// one.
  bool is_stuck(std::uint16_t number, const Segment& one, const Segment& other) {
    if (number != 0 || simulated_.ended || simulated_.main_ended > recorded_.main_ended) return false;
    if (other.questions.size() >= one.questions.size()) return false;
    const bool as_far = std::ranges::equal(
        other.questions, std::span(one.questions).first(other.questions.size()), is_same_question);
    if (!as_far) return false;
    const Question& question = one.questions[other.questions.size()];
    for (std::size_t i = 0; i < other.questions.size(); ++i)
      compare_answers(one.questions[i], other.questions[i], one.name, false);
    differ(question, one.name, false,
           {"answer",
            "after " + seconds_text(question.call->record->ended - question.call->record->began) + " s",
            "none to the session's end"});
    return true;
  }

  /// What one of them asked behind the other's last question, where that says nothing.
  void leave_out_tail(std::vector<Aligned>& aligned, std::uint16_t number, bool is_last) const {
    const auto is_of_one = [](const Aligned& place) { return !place.a || !place.b; };
    const auto is_simulated = [](const Aligned& place) { return !place.a; };
    const auto drop = [&aligned](std::size_t most, const auto& is_left_out) {
      std::size_t count = 0;
      while (count < aligned.size() && is_left_out(aligned[aligned.size() - 1 - count])) ++count;
      if (count <= most) aligned.resize(aligned.size() - count);
    };
    const std::size_t all = aligned.size();
    // The recording stopped somewhere, the simulated program had two minutes more.
    if (number != 0 || (is_last && !recorded_.ended)) drop(all, is_simulated);
    if (number != 0) drop(kSpareQuestions + all / kSpareShare, is_of_one);
  }

  void compare_answers(const Question& one, const Question& other, const std::string& segment, bool parted) {
    if (const auto difference = difference_of(one, other, tolerance_))
      return differ(one, segment, parted, *difference);
    ++count_of(one).compared;
    ++compared_[{one.device, one.kind}];
  }

  void differ(const Question& one, const std::string& segment, bool parted, const Difference& difference) {
    DeviceCount& device = count_of(one);
    ++device.compared;
    ++device.differ;
    ++compared_[{one.device, one.kind}];
    auto found = std::ranges::find_if(result_.findings, [&](const Finding& finding) {
      return finding.device == one.device && finding.kind == one.kind;
    });
    if (found == result_.findings.end()) {
      result_.findings.push_back({.device = one.device,
                                  .kind = one.kind,
                                  .segment = segment,
                                  .time = one.call->record->began,
                                  .question = text_of(one),
                                  .difference = difference,
                                  .after_parting = parted});
      found = result_.findings.end() - 1;
    }
    ++found->differ;
    if (one.device == kStation) return;  // what the program says of other answers
    last_difference_ = {one.device, text_of(one) + ": " + difference.what + " " + difference.recorded +
                                        ", simulated " + difference.simulated};
    if (one.call->record->call == Call::pthread_create) creation_ = last_difference_;
  }

  void part(Parting& parting, const Question* recorded, const Question* simulated) {
    if (parting.recorded + parting.simulated == 0) {
      parting.because_device = last_difference_.device;
      parting.because = last_difference_.text;
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
  Cause last_difference_;
  Cause creation_;  ///< of a thread that did not start on one of them
  Comparison result_;
};

}  // namespace

Comparison compare(const Recording& recorded, const Recording& simulated, const Tolerance& tolerance) {
  const Recording first = with_numbered_blocks(recorded);
  const Recording second = with_numbered_blocks(simulated);
  const Session one = session_of(first);
  const Session other = session_of(second);
  return Comparing(one, other, tolerance).run();
}

}  // namespace boardrec
