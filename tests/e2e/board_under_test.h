// The shipped server on a simulated board of its own, both in a child process.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/control/client.h"
#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"
#include "tests/harness/station.h"

/// A board whose time stands still until the test lets it pass. With BOARDTEST_RECORDED in the environment
/// the server is recorded, and the recording must have all that the board's trace has. What waits for the
/// board throws std::runtime_error, which names what was awaited, when the board does not do it within 10 s;
/// nothing else depends on the PC's clock.
class BoardUnderTest {
 public:
  using Time = std::chrono::microseconds;

  /// Switches a board on and starts the server there. `launcher_options` are further options of the launcher.
  explicit BoardUnderTest(const std::vector<std::string>& launcher_options = {});
  /// Ends the board. Fails the test for anything that the server or the board complained about on
  /// standard error, unless expect_complaint() named it.
  ~BoardUnderTest();
  BoardUnderTest(const BoardUnderTest&) = delete;
  BoardUnderTest& operator=(const BoardUnderTest&) = delete;

  /// Address of the board in dotted form, as the launcher announced it.
  const std::string& address() const { return address_; }

  /// A station that connects as soon as the server listens. Throws std::runtime_error when it does not.
  Station station();
  /// The same, but some hundred records that it has not read fill its connection: then the board can send no
  /// more.
  Station narrow_station();
  /// A station that has taken banner, menu and the first prompt.
  Station greeted_station();

  /// Waits until the server waits and nothing has arrived that it could go on with.
  void settle() { control().settle(); }
  /// settle(), lets time pass, waking the server whenever something is due, and settles again.
  void advance(Time span);
  /// Lets time pass in which the server ends.
  void advance_to_its_end(Time span);
  /// Virtual time since the board was switched on.
  Time now() { return control().now(); }

  /// Lays a fault over the board; throws std::runtime_error when the board does not understand it.
  void fault(std::string_view text) { control().fault(text); }
  void clear_faults() { control().clear_faults(); }
  /// Number of the server's threads beside its main one.
  int threads() { return control().threads(); }
  /// Device nodes that are open.
  std::vector<std::string> open_nodes() { return control().open_nodes(); }
  /// Number of descriptors that the server's process holds.
  std::size_t descriptors();

  /// Takes as many lines as are given and expects just these; a '*' at the end of one stands for any rest.
  void expect_lines(const std::vector<std::string>& lines);
  /// Takes lines up to the first that starts like `text`.
  void lines_until(std::string_view text);
  /// Takes all lines until the board's console is closed.
  std::vector<std::string> remaining_lines();

  /// Waits for the end of the launcher: its exit status.
  int exit_status() { return launcher_->exit_status(); }
  bool has_ended() { return launcher_->has_ended(); }
  /// Allows standard error to have lines that contain `text`.
  void expect_complaint(std::string_view text) { complaints_.emplace_back(text); }

  /// Every call of the server so far, each with its time.
  std::vector<std::string> trace() const;
  /// Those that contain `text`.
  std::vector<std::string> trace_of(std::string_view text) const;

 private:
  boardsim::ControlClient& control();
  std::string next_line(std::string_view awaited);
  void expect_no_complaints();
  void expect_recording();

  OwnDirectory directory_;
  std::unique_ptr<Child> launcher_;
  std::optional<boardsim::ControlClient> control_;
  std::string address_;
  bool stepped_ = true;
  std::vector<std::string> complaints_;
};
