// What the program prints while a test watches.
#pragma once

#include <string>
#include <vector>

/// Captures standard output and standard error of the process from its construction to its end. When
/// the test has failed by then, what was captured is shown after all. One at a time.
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Standard output so far, decoded from GBK. Throws std::invalid_argument when it is not GBK.
  std::string out() const;
  /// out() in lines, without their ends.
  std::vector<std::string> lines() const;
  /// Standard error so far, decoded from GBK.
  std::string err() const;
  /// The part of standard output that the program itself has flushed.
  std::string flushed() const;
  /// From now on standard error stands in out(), between the lines of standard output, as both came: so it is
  /// on the terminal that is a board's console.
  void join();
  /// Forgets everything so far; what stood there of a test that has failed is shown at the end all the same.
  void clear();

 private:
  /// One captured stream: the descriptor it had before, and the file that stands in its place.
  struct Stream {
    explicit Stream(int descriptor);
    std::string text() const;

    int descriptor;
    int original;
    int capture;
    std::string forgotten{};  ///< of a test that had failed, failures among it
  };

  Stream out_;
  Stream err_;
  bool fully_buffered_ = false;  ///< standard output was, before join()
};
