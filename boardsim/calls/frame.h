// One call of the program's: begun, perhaps met by a fault, performed, ended and entered into the trace.
#pragma once

#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/board/state.h"

namespace boardsim::calls {

/// The call as it begins now, without node.
Call begun(const BoardState& board, std::string_view name, std::vector<std::uint32_t> record);

/// The board is locked while one lives, but for what unlocked() runs; its own functions need not say so. A
/// call that is to be in the trace ends once.
class BOARDSIM_LOCKS(scoped_lockable) Frame {
 public:
  Frame(BoardState& board, Subject subject, std::string_view name, std::string_view node = {},
        std::vector<std::uint32_t> record = {}) BOARDSIM_LOCKS(acquire_capability(board.mutex));
  /// A call that has begun before.
  Frame(BoardState& board, Subject subject, Call call) BOARDSIM_LOCKS(acquire_capability(board.mutex));
  ~Frame() BOARDSIM_LOCKS(release_capability());
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  const std::string& node() const { return call_.node; }
  void set_node(std::string node) { call_.node = std::move(node); }
  void set_subject(Subject subject) { subject_ = subject; }
  void set_request(std::uint32_t request, std::vector<std::uint32_t> record = {}) {
    call_.request = request;
    call_.record = std::move(record);
  }
  Time began() const { return call_.at; }

  /// Counts the call for the faults of that name, and tells what becomes of it; nothing when it goes well.
  std::optional<FaultyCall> meet(std::string_view fault) BOARDSIM_LOCKS(no_thread_safety_analysis);
  /// The same of a call on what stands at the call's node, which may be dead; null: nothing does.
  std::optional<FaultyCall> meet_on(const Device* device, std::string_view fault)
      BOARDSIM_LOCKS(no_thread_safety_analysis);
  /// The usual course: a fault that is met decides, else what `perform` answers. What it does not know fails
  /// with EPERM and is reported.
  int run(std::string_view fault, const std::function<Answer()>& perform)
      BOARDSIM_LOCKS(no_thread_safety_analysis);

  /// Does something that may wait, or take long, without the lock. errno stays as it leaves it.
  template <class Work>
  auto unlocked(Work work) BOARDSIM_LOCKS(no_thread_safety_analysis) {
    board_.mutex.unlock();
    locked_ = false;  // a thread that is cancelled here unwinds without it
    const auto result = work();
    const int error = errno;
    board_.mutex.lock();
    locked_ = true;
    errno = error;
    return result;
  }

  /// Enters the call into the trace, sets errno when there is an error, returns the result.
  template <class Result = int>
  Result end(long result, int error) {
    enter(result, error);
    return static_cast<Result>(result);
  }
  template <class Result = int>
  Result end(const FaultyCall& faulty) {
    return end<Result>(faulty.result, faulty.error);
  }
  int fail(int error) { return end(-1, error); }
  /// Ends a call on a path at which nothing stands.
  int fail_missing() BOARDSIM_LOCKS(no_thread_safety_analysis);
  /// Ends a request that nothing here knows, and reports it.
  int fail_unknown_request() BOARDSIM_LOCKS(no_thread_safety_analysis);

 private:
  void enter(long result, int error) BOARDSIM_LOCKS(no_thread_safety_analysis);

  BoardState& board_;
  Subject subject_;
  bool locked_ = true;
  Call call_;
};

}  // namespace boardsim::calls
