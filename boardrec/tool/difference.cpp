#include "boardrec/tool/difference.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "boardrec/compare/alignment.h"
#include "boardrec/session/named_calls.h"
#include "boardrec/session/station.h"
#include "boardrec/tool/sameness.h"
#include "catalogue/catalogue.h"

namespace boardrec {
namespace {

/// A call with its text, which is asked for often.
struct Line {
  NamedCall call;
  std::string words;
};
using Lines = std::vector<Line>;

/// What the main thread did because of one request of the station.
struct Segment {
  std::string title;
  Lines lines;
};

/// A session taken apart.
struct Session {
  std::vector<Segment> segments;
  std::map<std::uint16_t, Lines> other_threads;
};

std::string title_of(const StationRequest& request) {
  const std::string title = "request " + name_of(request);
  if (!request.code) return title;
  const catalogue::Test* const test = catalogue::find_test(static_cast<std::int32_t>(*request.code));
  return test != nullptr ? title + " " + std::string(test->name) : title;
}

/// The call's text without what is any session's own: how long a select may still wait is a time.
std::string words_of(const NamedCall& call) {
  constexpr std::size_t kTimeOut = 4;
  if (call.record->call != Call::select || call.record->in.size() <= kTimeOut) return text(call);
  Record record = *call.record;
  record.in[kTimeOut] = {};
  NamedCall without = call;
  without.record = &record;
  return text(without);
}

Session session_of(const Recording& recording) {
  const std::vector<NamedCall> calls = calls_of_trace(recording);
  const std::vector<StationRequest> requests = station_requests(calls);
  Session session{.segments = {{"before the first request", {}}}, .other_threads = {}};
  std::size_t next = 0;
  for (std::size_t at = 0; at < calls.size(); ++at) {
    for (; next < requests.size() && requests[next].call == at; ++next)
      session.segments.push_back({title_of(requests[next]), {}});
    Lines& lines = calls[at].record->thread == 0 ? session.segments.back().lines
                                                 : session.other_threads[calls[at].record->thread];
    lines.push_back({calls[at], words_of(calls[at])});
  }
  return session;
}

/// Two calls that belong together and differ; one of them may be missing.
struct Pair {
  const Line* a = nullptr;
  const Line* b = nullptr;
  std::string why{};  ///< where the texts are alike
};

std::string duration_text(const Record& record) {
  return seconds_text(record.ended - record.began) + " s";
}

double seconds_of(const Record& record) {
  return static_cast<double>(record.ended - record.began) * 1e-9;
}

/// What a call is listed under.
std::string subject_of(const Line& line) {
  return line.call.node.empty() ? line.words.substr(0, line.words.find(' ')) : line.call.node;
}

/// What the alignment looks at.
template <class List, class Item>
std::vector<std::string> texts_of(const List& list, std::string Item::*text) {
  std::vector<std::string> texts;
  for (const Item& item : list) texts.push_back(item.*text);
  return texts;
}

class Comparison {
 public:
  Comparison(std::optional<double> tolerance, std::ostream& out) : tolerance_(tolerance), out_(out) {}

  void segments(std::span<const Segment> a, std::span<const Segment> b) {
    const auto places = align(texts_of(a, &Segment::title), texts_of(b, &Segment::title));
    for (const Aligned& place : places) {
      if (place.a && place.b) {
        segment(*place.a, a[*place.a], b[*place.b]);
      } else if (place.a) {
        only(*place.a, a[*place.a], "first");
      } else {
        only(*place.b, b[*place.b], "second");
      }
    }
  }

  void other_threads(const Session& a, const Session& b) {
    for (const auto& [thread, lines] : a.other_threads) {
      const auto other = b.other_threads.find(thread);
      const bool both = other != b.other_threads.end();
      other_thread(thread, lines, both ? other->second : Lines());
    }
    for (const auto& [thread, lines] : b.other_threads) {
      if (!a.other_threads.contains(thread)) other_thread(thread, {}, lines);
    }
  }

  bool found() const { return found_; }

 private:
  void title(std::size_t index, const std::string& text) {
    out_ << (found_ ? "\n" : "");
    if (index > 0) out_ << index << ". ";
    out_ << text;
    found_ = true;
  }

  void only(std::size_t index, const Segment& segment, const char* which) {
    title(index, segment.title);
    out_ << ": in the " << which << " recording only, " << segment.lines.size() << " calls\n";
  }

  void segment(std::size_t index, const Segment& a, const Segment& b) {
    const auto places = align(texts_of(a.lines, &Line::words), texts_of(b.lines, &Line::words));
    std::vector<Pair> pairs;
    Gap gap;
    for (const Aligned& place : places) {
      if (!place.a || !place.b) {
        if (place.a) gap.a.push_back(&a.lines[*place.a]);
        if (place.b) gap.b.push_back(&b.lines[*place.b]);
        continue;
      }
      close(gap, pairs);
      const Line& first = a.lines[*place.a];
      const Line& second = b.lines[*place.b];
      if (std::string why = difference_of(first, second); !why.empty())
        pairs.push_back({&first, &second, std::move(why)});
    }
    close(gap, pairs);
    show(index, a.title, pairs);
  }

  /// Calls of both between two that are alike.
  struct Gap {
    std::vector<const Line*> a, b;
  };

  /// Calls on the same node belong together, in their order.
  static void close(Gap& gap, std::vector<Pair>& pairs) {
    std::map<std::string, std::deque<const Line*>> waiting;
    for (const Line* second : gap.b) waiting[subject_of(*second)].push_back(second);
    for (const Line* first : gap.a) {
      std::deque<const Line*>& same = waiting[subject_of(*first)];
      pairs.push_back({.a = first, .b = same.empty() ? nullptr : same.front()});
      if (!same.empty()) same.pop_front();
    }
    for (const Line* second : gap.b) {
      std::deque<const Line*>& same = waiting[subject_of(*second)];
      if (same.empty() || same.front() != second) continue;
      pairs.push_back({.b = second});
      same.pop_front();
    }
    gap = {};
  }

  /// What sets two calls apart whose texts are alike.
  std::string difference_of(const Line& a, const Line& b) const {
    std::string why = difference_of_values(*a.call.record, *b.call.record);
    return why.empty() ? difference_of_times(a, b) : why;
  }

  std::string difference_of_times(const Line& a, const Line& b) const {
    if (!tolerance_ || std::abs(seconds_of(*a.call.record) - seconds_of(*b.call.record)) <= *tolerance_)
      return "";
    return "it took " + duration_text(*a.call.record) + " and " + duration_text(*b.call.record);
  }

  void show(std::size_t index, const std::string& text, const std::vector<Pair>& pairs) {
    if (pairs.empty()) return;
    title(index, text);
    out_ << '\n';
    std::vector<std::string> subjects;
    std::map<std::string, std::vector<const Pair*>> by_subject;
    for (const Pair& pair : pairs) {
      const std::string subject = subject_of(pair.a != nullptr ? *pair.a : *pair.b);
      if (by_subject[subject].empty()) subjects.push_back(subject);
      by_subject[subject].push_back(&pair);
    }
    for (const std::string& subject : subjects) show_first(subject, by_subject[subject]);
  }

  void show_first(const std::string& subject, const std::vector<const Pair*>& pairs) {
    out_ << "  " << subject << ": " << pairs.size()
         << (pairs.size() == 1 ? " difference\n" : " differences, the first\n");
    const Pair& first = *pairs.front();
    out_ << "    - " << (first.a != nullptr ? timed_text(first.a->call) : "nothing") << '\n';
    out_ << "    + " << (first.b != nullptr ? timed_text(first.b->call) : "nothing") << '\n';
    if (!first.why.empty()) out_ << "      " << first.why << '\n';
  }

  void other_thread(std::uint16_t thread, const Lines& a, const Lines& b) {
    std::vector<Pair> pairs;
    for (const Line* line : not_in(a, b)) pairs.push_back({.a = line});
    for (const Line* line : not_in(b, a)) pairs.push_back({.b = line});
    show(0, "thread " + std::to_string(thread) + ", over the whole session", pairs);
  }

  /// The calls of a thread that another one has never made; of each kind the first.
  std::vector<const Line*> not_in(const Lines& lines, const Lines& other) const {
    std::set<std::string> known;
    for (const Line& line : other) known.insert(kind_of(line));
    std::vector<const Line*> missing;
    for (const Line& line : lines) {
      if (known.insert(kind_of(line)).second) missing.push_back(&line);
    }
    return missing;
  }

  static std::string kind_of(const Line& line) {
    return line.call.record->call == Call::send ? line.words + value_at(line.call.record->in, 2).bytes
                                                : line.words;
  }

  std::optional<double> tolerance_;
  std::ostream& out_;
  bool found_ = false;
};

}  // namespace

bool show_difference(const Recording& a, const Recording& b, std::optional<double> tolerance,
                     std::ostream& out) {
  const Session first = session_of(a);
  const Session second = session_of(b);
  Comparison comparison(tolerance, out);
  comparison.segments(first.segments, second.segments);
  comparison.other_threads(first, second);
  return comparison.found();
}

}  // namespace boardrec
