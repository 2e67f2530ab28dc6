// A program that a test starts, with its two outputs.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

/// One child process. It is ended with this object, by its own process id. What waits for it throws
/// std::runtime_error, which names what was awaited, when that does not come within 10 s of the PC's time.
class Child {
 public:
  /// Starts command[0] with the rest as its arguments. Throws std::system_error when that fails.
  explicit Child(const std::vector<std::string>& command);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  /// Takes the next line of its standard output, without the line end, as raw bytes. Waits for it; throws
  /// when the program ends before.
  std::string next_line(std::string_view awaited = "a line") { return next_line(out_, awaited); }
  /// Takes the next line of its standard error, like next_line().
  std::string next_err_line(std::string_view awaited) { return next_line(err_, awaited); }
  /// Waits for its end and takes what next_line() has not taken.
  std::string rest() { return rest(out_); }
  /// Waits for its end and takes what next_err_line() has not taken.
  std::string err() { return rest(err_); }
  /// Asks it to end (SIGTERM).
  void terminate();
  /// Sends it a signal, unless it has ended.
  void signal(int number);
  /// Waits for its end: its exit status, or 128 and the number of the signal that ended it.
  int exit_status();
  /// Whether it has ended. Does not wait.
  bool has_ended();

 private:
  /// A file in memory that the program writes, and how far it has been taken.
  struct Output {
    Output();
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    /// What has not been taken.
    std::string text() const;

    int file;
    std::size_t taken = 0;
  };

  std::string next_line(Output& output, std::string_view awaited);
  std::string rest(Output& output);

  Output out_;
  Output err_;
  pid_t pid_ = -1;
  int status_ = -1;  ///< exit status once it is known
};
