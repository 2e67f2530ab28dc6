#include "station/app/users_command.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <string>
#include <system_error>

#include "station/app/exit_code.h"
#include "station/app/footers.h"
#include "station/plan/bad_file.h"
#include "station/text/errors.h"
#include "station/text/text.h"
#include "station/web/users.h"

namespace t1station {
namespace {

/// The words behind `users add`.
struct NewUser {
  std::string file, name, role;
};

/// Keeps what is typed from being shown, as long as it lives.
class NoEcho {
 public:
  NoEcho() {
    if (tcgetattr(STDIN_FILENO, &before_) != 0) return;
    termios quiet = before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    is_quiet_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
  }
  ~NoEcho() {
    if (is_quiet_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  termios before_{};
  bool is_quiet_ = false;
};

// One line of standard input, without its end; as far as it came when the input ends. Throws Interrupted.
std::string read_line(Interrupt& interrupt) {
  constexpr std::size_t kLongestLine = 4096;
  std::string line;
  while (line.size() <= kLongestLine) {
    std::array<pollfd, 2> items{{{STDIN_FILENO, POLLIN, 0}, {interrupt.descriptor(), POLLIN, 0}}};
    poll(items.data(), items.size(), -1);
    if (interrupt.is_raised()) throw Interrupted();
    char letter = 0;
    if (items[0].revents == 0) continue;
    if (read(STDIN_FILENO, &letter, 1) != 1 || letter == '\n') break;
    line += letter;
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

std::string ask(const std::string& question, const Environment& around) {
  around.err << question << std::flush;
  std::string line;
  {
    const NoEcho quiet;
    line = read_line(around.interrupt);
  }
  around.err << std::endl;
  return line;
}

std::string read_password(const Environment& around) {
  if (!around.in_is_terminal) return read_line(around.interrupt);
  std::string password = ask("Password: ", around);
  if (ask("Once more: ", around) != password) throw UsageError("these are two passwords; nobody was added");
  return password;
}

int add(const NewUser& words, const Environment& around) {
  try {
    check_new_user(words.file, words.name, words.role);  // before anybody types
    add_user(words.file, words.name, words.role, read_password(around));
    around.out << clean_text(words.name) << " may log in as " << words.role << "\n";
    return exit_code::kPassed;
  } catch (const Interrupted&) {
    around.err << std::endl;
    return exit_code::kInterrupted;
  } catch (const BadFile& bad) {
    for (const std::string& line : bad.lines()) around.err << line << "\n";
    around.err << std::flush;
    return exit_code::kUsage;
  } catch (const std::system_error& error) {
    around.err << "t1station: " << error.what() << std::endl;
    return exit_code::kUnwritten;
  }
}

}  // namespace

void add_users_command(CLI::App& app, Action& action) {
  CLI::App* users = app.add_subcommand("users", "Say who may log in at a line; needs no board");
  users->callback([users] {
    if (users->get_subcommands().empty())
      throw UsageError("users what? there is: t1station users add FILE NAME --role ROLE");
  });
  users->footer(footers::kUsers);
  CLI::App* adding = users->add_subcommand("add", "Add a user to a file of users, or make it");
  const auto words = std::make_shared<NewUser>();
  adding->add_option("FILE", words->file, "The file that the line's [users] names")->required();
  adding->add_option("NAME", words->name, "The user's name")->required();
  adding->add_option("--role", words->role, "What the user may do")
      ->type_name("viewer|operator|engineer")
      ->required();
  adding->footer(footers::kUsersAdd);
  adding->callback(
      [&action, words] { action = [words](const Environment& around) { return add(*words, around); }; });
}

}  // namespace t1station
