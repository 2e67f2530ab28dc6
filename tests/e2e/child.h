// A program that a test starts, with its two outputs.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// How long a test waits, on the PC's clock, for what must come: a guard that only ever fails a test.
inline constexpr std::chrono::seconds kPatience{10};

/// What a wait throws that was in vain.
inline std::runtime_error in_vain(std::string_view awaited) {
  return std::runtime_error("waited " + std::to_string(kPatience.count()) + " s in vain for " +
                            std::string(awaited));
}

/// One child process. It is ended with this object, by its own process id.
class Child {
 public:
  /// Starts command[0] with the rest as its arguments. Throws std::system_error when that fails.
  explicit Child(const std::vector<std::string>& command);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  /// Takes the next line of its standard output, without the line end, as raw bytes. Waits for it; throws
  /// std::runtime_error, which names what was awaited, when the output ends before or nothing comes for
  /// kPatience.
  std::string next_line(std::string_view awaited = "a line");
  /// Waits for the end of its standard output and takes what next_line() has not taken.
  std::string rest();
  /// Waits for the end of its standard error and gives all of it.
  std::string err();
  /// Takes the next line of its standard error, like next_line().
  std::string next_err_line(std::string_view awaited);
  /// Asks it to end (SIGTERM).
  void terminate();
  /// Sends it a signal, unless it has ended.
  void signal(int number);
  /// Waits for its end: its exit status, or 128 and the number of the signal that ended it.
  int exit_status();
  /// Whether it has ended. Does not wait.
  bool has_ended();

 private:
  /// A pipe from the child, read by a thread until the child closes it.
  class Output {
   public:
    ~Output();
    void start(int pipe_end);
    std::string next_line(std::string_view awaited);
    std::string rest();

   private:
    void read_all();

    int pipe_ = -1;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    bool ended_ = false;
    std::thread reader_;
  };

  bool reap(bool wait);

  pid_t pid_ = -1;
  int pidfd_ = -1;
  int status_ = -1;  ///< exit status once it is known
  Output out_;
  Output err_;
};
