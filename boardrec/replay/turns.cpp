#include "boardrec/replay/turns.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>

#include "boardrec/replay/telling.h"
#include "boardrec/session/requests.h"

namespace boardrec {
namespace {

constexpr int kDiffers = 1;
constexpr int kBroken = 70;
constexpr std::uint16_t kNobody = 0xFFFF;
constexpr double kNanoseconds = 1e9;

/// Not pthread's: those are the program's, and answered here.
class Lock {
 public:
  Lock() {
    while (taken.test_and_set(std::memory_order_acquire)) taken.wait(true);
  }
  ~Lock() {
    taken.clear(std::memory_order_release);
    taken.notify_one();
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  static inline std::atomic_flag taken{};
};

struct State {
  Recording recording{};
  std::string file{};
  double speed = 0;
  std::uint64_t started = 0;                                  ///< by the PC's clock
  std::map<std::uint16_t, std::deque<const Record*>> next{};  ///< by thread
  std::size_t turn = 0;                                       ///< number of the record that is answered next
  Telling telling{};
  std::map<std::uint64_t, std::string> blocks{};  ///< long ones by digest
  std::map<const void*, std::int64_t> mutexes{};
};

State& state() {
  static auto* const made = new State;  // stays until the last thread's last call
  return *made;
}

std::atomic<unsigned> turns{0};  ///< grows with each turn: who waits for one waits for this
thread_local std::uint16_t my_thread = kNobody;
thread_local int depth = 0;

std::uint64_t real_time() {
  timespec now{};
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(now.tv_nsec);
}

void say(const std::string& text) {
  std::fflush(stdout);
  std::string_view rest = text;
  while (!rest.empty()) {
    const long written = syscall(SYS_write, STDERR_FILENO, rest.data(), rest.size());
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

[[noreturn]] void end_process(int status) {
  syscall(SYS_exit_group, status);
  __builtin_unreachable();
}

std::string seconds(std::uint64_t nanoseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f s", static_cast<double>(nanoseconds) / kNanoseconds);
  return text;
}

std::string played(const State& now, std::size_t records) {
  const std::uint64_t ended = records > 0 ? now.recording.records[records - 1].ended : 0;
  return std::to_string(records) + " of " + std::to_string(now.recording.records.size()) + " records, " +
         seconds(ended);
}

[[noreturn]] void end_at_the_recordings_end(const State& now) {
  say("boardsim: replayed " + played(now, now.turn) +
      ", every call as it was recorded: the recording ends here\n");
  end_process(0);
}

[[noreturn]] void differ(const State& now, const Record* recorded, const std::string& text) {
  const std::size_t at = recorded != nullptr ? recorded->number : now.turn;
  std::string report = "boardsim: the replay of " + now.file + " differs at record " + std::to_string(at) +
                       " of " + std::to_string(now.recording.records.size());
  if (recorded != nullptr) report += ", " + seconds(recorded->began);
  if (my_thread != kNobody) report += ", thread " + std::to_string(my_thread);
  report += now.telling.where() + "\n" + text;
  say(report);
  end_process(kDiffers);
}

/// Whether texts are the same but for when the program was built, which it greets a station with: a recording
/// is for ever, and its program is built anew.
bool is_same_but_for_the_build(std::string_view recorded, std::string_view now) {
  constexpr std::string_view kBuilt = "BUILD: ";
  const auto begin = recorded.find(kBuilt);
  const auto end = begin == std::string_view::npos ? begin : recorded.find('\n', begin);
  if (end == std::string_view::npos) return false;
  return recorded.substr(0, begin + kBuilt.size()) == now.substr(0, begin + kBuilt.size()) &&
         recorded.substr(end) == now.substr(end);
}

/// As many bytes as were recorded, of which `bytes` has enough.
bool has_bytes(const Value& value, const void* bytes) {
  if (value.type == ValueType::digest)
    return digest(static_cast<const unsigned char*>(bytes), value.size) == value.digest;
  const std::string_view now(static_cast<const char*>(bytes), value.size);
  return value.type == ValueType::bytes && value.bytes == now;
}

/// A text is looked at when it is known that the program handed in one that can be read.
std::size_t size_of(const Handed& handed) {
  return handed.kind == Handed::Kind::text ? std::strlen(static_cast<const char*>(handed.bytes))
                                           : handed.size;
}

bool is_equal(const Value& value, const Handed& handed) {
  switch (handed.kind) {
    case Handed::Kind::anything:
      return true;
    case Handed::Kind::number:
      return value.type == ValueType::number && value.number == handed.number;
    case Handed::Kind::record:
      if (value.type == ValueType::absent) return true;
      if (value.type == ValueType::number) {
        const auto now = reinterpret_cast<std::uintptr_t>(handed.bytes);  // a long has 32 bits on some boards
        return static_cast<std::uint32_t>(value.number) == static_cast<std::uint32_t>(now);
      }
      return handed.bytes != nullptr && has_bytes(value, handed.bytes);
    case Handed::Kind::text:
    case Handed::Kind::bytes:
      break;
  }
  if (handed.bytes == nullptr || value.type == ValueType::absent)
    return handed.bytes == nullptr && value.type == ValueType::absent;
  return value.size == size_of(handed) && has_bytes(value, handed.bytes);
}

/// The size of what is sent has been held against the recorded one before.
bool is_greeting(const Value& value, const Handed& handed) {
  if (value.type != ValueType::bytes || handed.bytes == nullptr) return false;
  return is_same_but_for_the_build(value.bytes, {static_cast<const char*>(handed.bytes), value.size});
}

/// What the program has now where this was recorded; null when it was not.
Value value_now(const Handed& handed, const Value* recorded) {
  if (handed.kind == Handed::Kind::anything) return recorded != nullptr ? *recorded : Value{};
  if (handed.kind == Handed::Kind::number) return {.type = ValueType::number, .number = handed.number};
  std::size_t size = handed.bytes != nullptr ? size_of(handed) : 0;
  if (handed.kind == Handed::Kind::record) {
    if (recorded == nullptr || recorded->type == ValueType::absent || recorded->type == ValueType::number) {
      return {.type = ValueType::number,
              .number = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(handed.bytes))};
    }
    size = recorded->size;
  }
  if (handed.bytes == nullptr) return {};
  std::string bytes(static_cast<const char*>(handed.bytes), size);
  return {.type = ValueType::bytes, .bytes = std::move(bytes), .size = static_cast<std::uint32_t>(size)};
}

/// The values as they are now, to be shown beside the recorded ones.
std::vector<Value> values_of(In in, const Record* recorded) {
  std::vector<Value> values;
  for (const Handed& handed : in) {
    const std::size_t place = values.size();
    const bool has_other = recorded != nullptr && place < recorded->in.size();
    values.push_back(value_now(handed, has_other ? &recorded->in[place] : nullptr));
  }
  return values;
}

/// Of a driver's record counts what the driver looks at: the rest is what the program's memory held.
bool asks_the_same(const Record& recorded, In in) {
  constexpr std::size_t kRequest = 1, kArgument = 2;
  for (std::size_t i = 0; i < in.size(); ++i) {
    const Handed& handed = in.begin()[i];
    const Value& value = recorded.in[i];
    if (value.type == ValueType::absent && (recorded.flags & kNotRecorded) != 0) continue;
    // An argument of which nobody knows whether it is a number or a place in memory.
    if (value.type == ValueType::number && handed.kind == Handed::Kind::record &&
        (recorded.flags & kUnknownSize) != 0) {
      continue;
    }
    if (recorded.call == Call::send && is_greeting(value, handed)) continue;
    const bool is_record = recorded.call == Call::ioctl && i == kArgument && value.type == ValueType::bytes;
    if (is_record && handed.bytes != nullptr) {
      const auto request = static_cast<std::uint32_t>(recorded.in[kRequest].number);
      if (words_in(request, value) != words_in(request, value_now(handed, &value))) return false;
    } else if (!is_equal(value, handed)) {
      return false;
    }
  }
  return true;
}

void compare(const State& now, const Record& recorded, Call call, In in) {
  if (recorded.call == call && recorded.in.size() == in.size() && asks_the_same(recorded, in)) return;
  const std::vector<Value> values = values_of(in, recorded.call == call ? &recorded : nullptr);
  std::string text = "  recorded: " + now.telling.text(recorded.call, recorded.in) +
                     now.telling.result(recorded) + "\n  now:      " + now.telling.text(call, values) + "\n";
  if (recorded.call == call) text += now.telling.first_difference(recorded.in, values);
  differ(now, &recorded, text);
}

void remember(State& now, const Value& value, const void* bytes) {
  if (value.type == ValueType::digest && bytes != nullptr && !now.blocks.contains(value.digest))
    now.blocks.emplace(value.digest, std::string(static_cast<const char*>(bytes), value.size));
  if (value.type == ValueType::bytes && value.size > kLongestWhole) {
    const auto* const raw = reinterpret_cast<const unsigned char*>(value.bytes.data());
    now.blocks.emplace(boardrec::digest(raw, value.size), value.bytes);
  }
}

/// What says something about the recording itself is nobody's turn.
void skip_notes(State& now) {
  const auto& records = now.recording.records;
  while (now.turn < records.size() &&
         (records[now.turn].call == Call::note || records[now.turn].call == Call::start)) {
    ++now.turn;
  }
}

void next_turn(State& now) {
  ++now.turn;
  skip_notes(now);
  turns.fetch_add(1);
  turns.notify_all();
}

void wait_for_the_moment(const State& now, const Record& record) {
  if (now.speed <= 0) return;
  const auto due = now.started + static_cast<std::uint64_t>(static_cast<double>(record.ended) / now.speed);
  for (std::uint64_t time = real_time(); time < due; time = real_time()) {
    const timespec rest{static_cast<time_t>((due - time) / 1'000'000'000U),
                        static_cast<long>((due - time) % 1'000'000'000U)};
    syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &rest, nullptr);
  }
}

/// The thread's next record, null behind its last.
const Record* coming() {
  const Lock lock;
  const auto& mine = state().next[my_thread];
  return mine.empty() ? nullptr : mine.front();
}

/// Takes the thread's next record, which must be that call, at its turn.
const Record& take(Call call, In in, const std::function<void(const Record&)>& then) {
  State& now = state();
  const Record* record = nullptr;
  for (;;) {
    const unsigned seen = turns.load();
    {
      const Lock lock;
      auto& mine = now.next[my_thread];
      if (record == nullptr && !mine.empty()) {
        record = mine.front();
        compare(now, *record, call, in);
      }
      if (record == nullptr && now.turn >= now.recording.records.size()) end_at_the_recordings_end(now);
      if (record != nullptr && now.turn == record->number) break;
    }
    turns.wait(seen);
  }
  wait_for_the_moment(now, *record);
  const Lock lock;
  now.next[my_thread].pop_front();
  std::size_t place = 0;
  for (const Handed& handed : in) {
    if (place < record->in.size()) remember(now, record->in[place++], handed.bytes);
  }
  for (const Value& value : record->out) remember(now, value, nullptr);
  if (then) then(*record);
  now.telling.follow(*record);
  next_turn(now);
  return *record;
}

/// When the thread is cancelled, its record is taken at its turn while it unwinds.
class TakenWhenCancelled {
 public:
  TakenWhenCancelled(Call call, In in) : call_(call), in_(in) {}
  ~TakenWhenCancelled() { take(call_, in_, nullptr); }
  TakenWhenCancelled(const TakenWhenCancelled&) = delete;
  TakenWhenCancelled& operator=(const TakenWhenCancelled&) = delete;

 private:
  Call call_;
  In in_;
};

[[noreturn]] void wait_to_be_cancelled(Call call, In in) {
  const TakenWhenCancelled at_the_end(call, in);
  for (;;) pause();
}

}  // namespace

void load_replay(const std::string& file, double speed) {
  State& now = state();
  now.recording = read_recording(file);
  now.file = file;
  now.speed = speed;
  for (Record& record : now.recording.records) {
    // Of a damaged recording, values that are missing are absent.
    record.out.resize(std::max<std::size_t>(record.out.size(), count_of(find_call(record.call)->out)));
    if (record.call != Call::note && record.call != Call::start) now.next[record.thread].push_back(&record);
  }
  skip_notes(now);
}

void begin_replay() {
  my_thread = 0;
  state().started = real_time();
}

void finish_replay(int status) {
  if (!is_replayed()) return;
  const Within within;
  State& now = state();
  take(Call::finish, {Handed::of(status)}, nullptr);
  say("boardsim: replayed " + played(now, now.turn) + ": every call as it was recorded\n");
}

bool has_random_numbers() {
  return state().recording.header.version >= kVersionWithRandom;
}

bool is_replayed() {
  return my_thread != kNobody && depth == 0;
}

Within::Within() {
  ++depth;
}

Within::~Within() {
  --depth;
}

const Record& next_answer(Call call, In in, const std::function<void(const Record&)>& then) {
  const Within within;
  const Record* const next = coming();
  if (next != nullptr && next->call == call && (next->flags & kCancelled) != 0)
    wait_to_be_cancelled(call, in);
  const Record& record = take(call, in, then);
  return (record.flags & kBegan) != 0 ? take(call, in, then) : record;
}

const Record& next_answer(Call call, In in) {
  return next_answer(call, in, nullptr);
}

void give(const Value& value, void* to, std::size_t size) {
  if (to == nullptr || value.type == ValueType::absent || value.type == ValueType::number) return;
  const Within within;
  const std::string* bytes = &value.bytes;
  if (value.type == ValueType::digest) {
    const Lock lock;
    const auto known = state().blocks.find(value.digest);
    if (known == state().blocks.end())
      differ(state(), nullptr,
             "  the recording does not have the bytes of a block of " + std::to_string(value.size) + "\n");
    bytes = &known->second;
  }
  std::memcpy(to, bytes->data(), std::min(size, bytes->size()));
}

void begin_thread(std::uint16_t thread) {
  my_thread = thread;
}

void end_thread() {
  const Within within;
  take(Call::thread_ended, {}, nullptr);
  my_thread = kNobody;
}

std::int64_t number_of_mutex(const void* mutex) {
  auto& known = state().mutexes;
  return known.emplace(mutex, static_cast<std::int64_t>(known.size()) + 1).first->second;
}

void end_replay_at(const Record& recorded, const std::string& text) {
  differ(state(), &recorded, "  " + text + "\n");
}

void fail_replay(const std::string& text) {
  say("boardsim: " + text + "\n");
  end_process(kBroken);
}

}  // namespace boardrec
