// boardrec: shows recordings of real boards, compares, cuts and redacts them.
#include <CLI/CLI.hpp>
#include <charconv>
#include <exception>
#include <functional>
#include <iostream>
#include <new>
#include <optional>

#include "boardrec/session/encoding.h"
#include "boardrec/session/part.h"
#include "boardrec/session/recording.h"
#include "boardrec/tool/cut.h"
#include "boardrec/tool/difference.h"
#include "boardrec/tool/exit_code.h"
#include "boardrec/tool/files.h"
#include "boardrec/tool/redact.h"
#include "boardrec/tool/show.h"
#include "boardrec/tool/stats.h"
#include "version/version.h"

namespace {

using namespace boardrec;

/// What a command does when the command line was understood; its exit code.
using Action = std::function<int()>;

// What stands behind the options; the manual pages are made of it (scripts/man_pages.py).
constexpr char kExitCodes[] = R"(Exit codes:
  0   done
  1   the recordings differ (diff)
  2   a recording is damaged behind what was used of it
  64  usage
  65  no recording, or one that cannot be read
  73  a file or standard output cannot be written

Examples:
)";
constexpr char kShowExamples[] = R"(  boardrec show session.rec --node /dev/rtc
      what the program asked the clock
  boardrec show session.rec --all --from 2.5 --to 3
      every record of half a second
)";
constexpr char kStatsExamples[] = R"(  boardrec stats session.rec
      what was asked for, how long it took, and what is missing
)";
constexpr char kDiffExamples[] = R"(  boardrec diff before.rec after.rec
      what another version of the program does otherwise
)";
constexpr char kCutExamples[] = R"(  boardrec cut session.rec part.rec --from 2.5s --to 1400
      from second 2.5 up to record 1400
)";
constexpr char kRedactExamples[] = R"(  boardrec redact session.rec public.rec --drop /devinfo/TG.bin
      to be sent to somebody else
)";

/// The exit code for recordings that were used as far as they can be read; says how far that is.
int exit_code_of(std::initializer_list<const Recording*> recordings, int well) {
  for (const Recording* recording : recordings) {
    if (recording->broken.empty()) continue;
    std::cout << std::flush;
    std::cerr << "boardrec: " << recording->broken << std::endl;
    well = exit_code::kDamaged;
  }
  return well;
}

std::uint64_t size_of(const Recording& recording) {
  std::uint64_t size = sizeof(Header);
  if (!recording.records.empty())
    size = recording.records.back().offset + bytes_of(recording.records.back()).size();
  return size;
}

/// The check without the words that the help would show behind the option's name.
CLI::Validator quiet(CLI::Validator check) {
  return check.description("");
}

/// A number of seconds that can be waited.
CLI::Validator not_negative() {
  const auto look = [](const std::string& text) {
    double seconds = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool is_number = read.ec == std::errc() && read.ptr == text.data() + text.size();
    return is_number && seconds >= 0 ? "" : "\"" + text + "\" is no number of seconds from 0 on";
  };
  return {look, ""};
}

void add_show(CLI::App& app, Action& action) {
  CLI::App* command =
      app.add_subcommand("show", "Show the calls, a line each, as the simulated board's trace has them");
  struct Words {
    std::string file;
    ShowOptions options;
  };
  const auto words = std::make_shared<Words>();
  command->add_option("FILE", words->file, "The recording")->type_name("")->required();
  command->add_flag("--all", words->options.all,
                    "Every record, in the order in which calls ended, behind its number and thread");
  command->add_flag("--bytes", words->options.bytes, "Also what went in and came back");
  command->add_option("--thread", words->options.thread, "Only calls of this thread; 0 runs main")
      ->type_name("N");
  command->add_option("--from", words->options.from, "Only calls that began at this second or later")
      ->type_name("S");
  command->add_option("--to", words->options.to, "Only calls that began before this second")->type_name("S");
  command->add_option("--node", words->options.node, "Only calls on this node, or on \"station\"")
      ->type_name("NAME");
  command
      ->add_option("--text", words->options.form,
                   "Texts of the board as utf8 (the default), or gbk as they are")
      ->type_name("utf8|gbk")
      ->transform(quiet(CLI::CheckedTransformer(
          std::map<std::string, TextForm>{{"utf8", TextForm::utf8}, {"gbk", TextForm::gbk}})));
  command->footer(std::string(kExitCodes) + kShowExamples);
  command->callback([&action, words] {
    action = [words] {
      const Recording recording = read_recording(words->file);
      try {
        show(recording, words->options, std::cout);
      } catch (const UsageError&) {  // what was asked for may stand behind the damage
        exit_code_of({&recording}, exit_code::kUsage);
        throw;
      }
      return exit_code_of({&recording}, exit_code::kDone);
    };
  });
}

void add_stats(CLI::App& app, Action& action) {
  CLI::App* command =
      app.add_subcommand("stats", "Show a recording's figures: requests, calls, nodes, what is missing");
  const auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "The recording")->type_name("")->required();
  command->footer(std::string(kExitCodes) + kStatsExamples);
  command->callback([&action, file] {
    action = [file] {
      const Recording recording = read_recording(*file);
      show_stats(recording, size_of(recording), std::cout);
      return exit_code_of({&recording}, exit_code::kDone);
    };
  });
}

void add_diff(CLI::App& app, Action& action) {
  CLI::App* command =
      app.add_subcommand("diff", "Show what two sessions asked and were answered differently");
  struct Words {
    std::string a, b;
    std::optional<double> tolerance;
  };
  const auto words = std::make_shared<Words>();
  command->add_option("A", words->a, "The first recording")->type_name("")->required();
  command->add_option("B", words->b, "The second recording")->type_name("")->required();
  command
      ->add_option("--tolerance", words->tolerance,
                   "Also calls whose durations differ by more seconds than this; without it none")
      ->type_name("S")
      ->check(not_negative());
  command->footer(std::string(kExitCodes) + kDiffExamples);
  command->callback([&action, words] {
    action = [words] {
      const Recording a = read_recording(words->a);
      const Recording b = read_recording(words->b);
      const bool differ = show_difference(a, b, words->tolerance, std::cout);
      return exit_code_of({&a, &b}, differ ? exit_code::kDiffers : exit_code::kDone);
    };
  });
}

void add_cut(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("cut", "Write a part of a recording into a new one");
  struct Words {
    std::string file, out, from, to;
  };
  const auto words = std::make_shared<Words>();
  command->add_option("FILE", words->file, "The recording")->type_name("")->required();
  command->add_option("OUT", words->out, "The part; a file that is not there yet")->type_name("")->required();
  command->add_option("--from", words->from, "The first record: a number as of show --all, or seconds: 2.5s")
      ->type_name("PLACE");
  command->add_option("--to", words->to, "Up to this one, which is left out")->type_name("PLACE");
  command->footer(std::string(kExitCodes) + kCutExamples);
  command->callback([&action, words] {
    action = [words] {
      const auto place = [](const std::string& text) {
        return text.empty() ? std::nullopt : std::optional(cut_place(text));
      };
      const Recording whole = read_recording(words->file);
      const Recording part = cut(whole, place(words->from), place(words->to));
      write_recording(part, words->out);
      if (const std::size_t missing = missing_at_the_beginning(part); missing != 0) {
        std::cout << missing << " calls before the part are not in it: it can be shown, "
                  << "but neither replayed nor compared with a simulated board\n";
      }
      if (const std::size_t lost = lost_blocks(whole, part); lost != 0)
        std::cout << lost << " blocks stand without their bytes, which were cut away\n";
      return exit_code_of({&whole}, exit_code::kDone);
    };
  });
}

void add_redact(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand(
      "redact", "Write a recording without what says whose board it was, and say what is left");
  struct Words {
    std::string file, out;
    std::vector<std::string> dropped;
  };
  const auto words = std::make_shared<Words>();
  command->add_option("FILE", words->file, "The recording")->type_name("")->required();
  command->add_option("OUT", words->out, "The redacted one; a file that is not there yet")
      ->type_name("")
      ->required();
  command->add_option("--drop", words->dropped, "Take out all bytes of this node; may be given several times")
      ->type_name("NODE")
      ->allow_extra_args(false);
  command->footer(std::string(kExitCodes) + kRedactExamples);
  command->callback([&action, words] {
    action = [words] {
      const Recording recording = read_recording(words->file);
      const Redaction redaction = redact(recording, words->dropped);
      write_recording(redaction.recording, words->out);
      show_redaction(redaction, std::cout);
      return exit_code_of({&recording}, exit_code::kDone);
    };
  });
}

/// What is wrong with a command line; a first word that is no command is named with those that are.
std::string why_refused(const CLI::App& app, const std::string& first, const CLI::ParseError& error) {
  if (first.empty() || first.starts_with('-')) return error.what();
  std::string known;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (command->get_name() == first) return error.what();
    known += (known.empty() ? "" : ", ") + command->get_name();
  }
  return "there is no command \"" + first + "\"; there are " + known;
}

/// Reads the command line; the exit code when there is nothing more to do.
std::optional<int> read_command_line(int argc, char** argv, Action& action) {
  CLI::App app("Shows recordings of real boards, compares, cuts and redacts them.", "boardrec");
  app.set_version_flag("--version", std::string("boardrec ") + version::text(), "Show the version");
  app.require_subcommand(1);
  app.footer(std::string(kExitCodes) + kStatsExamples + kShowExamples);
  add_show(app, action);
  add_stats(app, action);
  add_diff(app, action);
  add_cut(app, action);
  add_redact(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return exit_code::kDone;
  } catch (const CLI::ParseError& error) {
    std::cerr << "boardrec: " << why_refused(app, argc > 1 ? argv[1] : "", error) << std::endl;
    return exit_code::kUsage;
  }
  return std::nullopt;
}

int obey(const Action& action) {
  try {
    return action();
  } catch (const UsageError& error) {
    std::cerr << "boardrec: " << error.what() << std::endl;
    return exit_code::kUsage;
  } catch (const Unreadable& error) {
    std::cerr << "boardrec: " << error.what() << std::endl;
    return exit_code::kUnreadable;
  } catch (const std::bad_alloc&) {
    std::cerr << "boardrec: the memory is too small for this recording" << std::endl;
    return exit_code::kUnreadable;
  } catch (const std::exception& error) {
    std::cerr << "boardrec: " << error.what() << std::endl;
    return exit_code::kUnwritten;
  }
}

}  // namespace

int main(int argc, char** argv) {
  Action action;
  const std::optional<int> done = read_command_line(argc, argv, action);
  const int code = done ? *done : obey(action);
  if (std::cout << std::flush) return code;
  std::cerr << "boardrec: standard output cannot be written" << std::endl;
  return code == exit_code::kDone ? exit_code::kUnwritten : code;
}
