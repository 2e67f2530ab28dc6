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
#include <stdexcept>

#include "boardrec/memory/copies.h"
#include "boardrec/replay/telling.h"

namespace boardrec {
namespace {

constexpr int kDiffers = 1;
constexpr int kUnplayable = 64;
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

bool is_call(const Record& recorded, Call call, In in) {
  return recorded.call == call && recorded.in.size() == in.size() && asks_the_same(recorded, in);
}

/// Where in the session a replay ends, and how.
std::string ended(const State& now, const std::string& how, const Record* recorded) {
  const std::size_t at = recorded != nullptr ? recorded->number : now.turn;
  std::string text = "boardsim: the replay of " + now.file + " " + how + " at record " + std::to_string(at) +
                     " of " + std::to_string(now.recording.records.size());
  if (recorded != nullptr) text += ", " + seconds(recorded->began);
  if (my_thread != kNobody) text += ", thread " + std::to_string(my_thread);
  return text + now.telling.where() + "\n";
}

[[noreturn]] void differ(const State& now, const Record* recorded, const std::string& text) {
  say(ended(now, "differs", recorded) + text);
  end_process(kDiffers);
}

/// Where the recording has this call later, or in another thread; empty where it has it no more.
std::string elsewhere(const State& now, const Record& recorded, Call call, In in) {
  const auto& records = now.recording.records;
  for (std::size_t i = now.turn; i < records.size(); ++i) {
    const Record& record = records[i];
    if (record.number == recorded.number || !is_call(record, call, in)) continue;
    return "  the recording has this call at record " + std::to_string(record.number) + ", " +
           seconds(record.began) + ", thread " + std::to_string(record.thread) + "\n";
  }
  return {};
}

void compare(const State& now, const Record& recorded, Call call, In in) {
  if (is_call(recorded, call, in)) return;
  const std::vector<Value> values = values_now(in, recorded.call == call ? &recorded : nullptr);
  std::string text = "  recorded: " + now.telling.text(recorded.call, recorded.in) +
                     now.telling.result(recorded) + "\n  now:      " + now.telling.text(call, values) + "\n";
  if (recorded.call == call) text += now.telling.first_difference(recorded.in, values);
  differ(now, &recorded, text + elsewhere(now, recorded, call, in));
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
  if (!prepare_copies()) throw std::runtime_error("the program has no descriptors left for a replay");
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

bool is_of_version(std::uint16_t oldest) {
  return state().recording.header.version >= oldest;
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
    if (known == state().blocks.end()) {
      say(ended(state(), "cannot go on", nullptr) + "  the recording does not have the bytes of a block of " +
          std::to_string(value.size) + "\n");
      end_process(kUnplayable);
    }
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

void leave_replay() {
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
