#include "station/app/records_command.h"

#include "station/app/central_command.h"
#include "station/app/exit_code.h"
#include "station/app/footers.h"
#include "station/app/records_words.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <system_error>
#include <tuple>

#include "station/central/address.h"
#include "station/central/central_check.h"
#include "station/figures/figures.h"
#include "station/figures/records_figures.h"
#include "station/records/check.h"
#include "station/records/reader.h"
#include "station/records/records.h"
#include "station/report/run_format.h"
#include "station/report/run_text.h"
#include "station/report/whole_file.h"
#include "station/report/window_html.h"
#include "station/run/result.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

/// The words behind `records`.
struct RecordsWords {
  std::string file, run, serial, slot, plan, kind, verdict, from, to, head, format, language, out, reason,
      operator_name;
  bool is_gbk = false;
};

std::optional<std::string> word_or_nothing(const std::string& word) {
  return word.empty() ? std::nullopt : std::optional(word);
}

RunFilter filter_of(const RecordsWords& words) {
  RunFilter filter;
  filter.id = word_or_nothing(words.run);
  filter.serial = word_or_nothing(words.serial);
  filter.plan = word_or_nothing(words.plan);
  filter.kind = word_or_nothing(words.kind);
  if (!words.verdict.empty()) filter.verdicts = {words.verdict};
  std::tie(filter.from, filter.to) = window_of(words.from, words.to);
  return filter;
}

int check(const RecordsWords& words, const Environment& around) {
  const std::optional<std::string> head = word_or_nothing(words.head);
  const bool is_central = is_central_url(words.file);
  if (is_central) check_central_url(words.file);
  const CheckReport report =
      is_central ? check_central(words.file, head, kPatienceOfAPerson, around.interrupt.descriptor())
                 : check_records(words.file, head);
  for (const std::string& finding : report.findings) around.out << clean_text(finding) << "\n";
  for (const std::string& note : report.notes) around.err << clean_text(note) << std::endl;
  if (!report.findings.empty()) return exit_code::kFailed;
  around.out << report.runs << " runs and " << report.events << " events are as they were stored\n";
  return exit_code::kPassed;
}

int list(const RecordsWords& words, const Environment& around) {
  const RunFilter filter = filter_of(words);
  RecordsReader reader(words.file);
  around.out << runs_heading();
  reader.for_each_row(filter, [&around](const StoredRun& run) { around.out << runs_line(run); });
  return exit_code::kPassed;
}

// "the wrong check of 2026-11-22T03:17:12.345Z (run ID)"
std::string check_text(const char* which, const CheckRun& check) {
  return std::string(which) + " check of " + check.ended + " (run " + check.id + ")";
}

// Between which checks the runs lie.
std::string place_text(const SuspectChecks& checks) {
  const std::string since = checks.good ? "since " + check_text("the good", *checks.good)
                                        : "since the first run, for no check was complete";
  return checks.wrong ? since + ", before " + check_text("the wrong", *checks.wrong)
                      : since + "; no check was wrong so far";
}

int suspect(const RecordsWords& words, const Environment& around) {
  std::string lines;
  std::size_t count = 0;
  RecordsReader reader(words.file);
  const std::optional<SuspectChecks> checks = reader.suspects(words.slot, [&](const StoredRun& run) {
    lines += runs_line(run);
    ++count;
  });
  const std::string slot = "slot " + clean_text(words.slot);
  if (!checks) throw UsageError("there is no check of " + slot + " in " + words.file);
  around.out << runs_heading() << lines;
  around.err << "t1station: "
             << (count == 0 ? "nothing is suspect in " + slot
                            : std::to_string(count) + (count == 1 ? " run of " : " runs of ") + slot)
             << " " << place_text(*checks) << std::endl;
  return exit_code::kPassed;
}

bool has_any(RecordsReader& reader, RunFilter filter) {
  filter.limit = 1;
  bool is_there = false;
  reader.for_each_row(filter, [&is_there](const StoredRun&) { is_there = true; });
  return is_there;
}

bool has_unit(RecordsReader& reader, const std::string& serial) {
  RunFilter filter;
  filter.serial = serial;
  return has_any(reader, filter);
}

UsageError no_run(RecordsReader& reader, const RecordsWords& words) {
  const std::string name = clean_text(words.run);
  return UsageError("there is no run " + name + " in " + words.file +
                    (has_unit(reader, words.run)
                         ? ": that is a unit, whose runs t1station records list --serial " + name + " names"
                         : ""));
}

int show(const RecordsWords& words, const Environment& around) {
  RecordsReader reader(words.file);
  const std::optional<StoredRun> run = reader.run(words.run);
  if (!run) throw no_run(reader, words);
  around.out << run_text(*run);
  return exit_code::kPassed;
}

int head(const RecordsWords& words, const Environment& around) {
  const std::optional<std::string> hash = RecordsReader(words.file).head();
  if (hash) {
    around.out << *hash << "\n";
  } else {
    around.err << "t1station: no run has ended in " << words.file << " yet" << std::endl;
  }
  return exit_code::kPassed;
}

FormatChoice choice_of(const RecordsWords& words) {
  if (words.is_gbk && words.format != "csv") throw UsageError("--gbk is for csv only");
  if (!words.language.empty() && words.format != "html") throw UsageError("--language is for html only");
  return {words.is_gbk ? CsvText::gbk : CsvText::utf8,
          language_named(words.language).value_or(Language::both)};
}

// Without a run or a unit it is the window's report.
void write_window(const RecordsWords& words, RecordsReader& reader, Language language,
                  const WritePiece& write) {
  const auto [from, to] = window_of(words.from, words.to);
  const FigureWindow window{from, to, word_or_nothing(words.plan)};
  write(window_html(find_figures(words.file, window), reader, record_time(), language));
}

// A page about a unit that nobody has seen would look like one about a unit.
void expect_unit(RecordsReader& reader, const std::string& serial, const std::string& file) {
  if (!has_unit(reader, serial)) throw UsageError("there is no run of " + clean_text(serial) + " in " + file);
}

// A factory's message has no word for a check unit: it would be counted as a product.
void leave_out_checks(RunFilter& filter, RecordsReader& reader, const Environment& around) {
  filter.kind = "check";
  if (has_any(reader, filter)) {
    around.err << "t1station: runs of check units are left out: such a message has no word for them; --kind "
                  "check writes them"
               << std::endl;
  }
  filter.kind = "production";
}

void write_runs(const RecordsWords& words, const WritePiece& write, const Environment& around) {
  RunFilter filter = filter_of(words);
  const FormatChoice choice = choice_of(words);
  RecordsReader reader(words.file);
  if (words.format == "html" && !filter.id && !filter.serial) {
    if (filter.kind)
      throw UsageError("--kind is not for a window's report: checks are in none of its figures");
    return write_window(words, reader, choice.language, write);
  }
  if (filter.id && !reader.run(*filter.id)) throw no_run(reader, words);
  if (words.format == "html" && filter.serial) expect_unit(reader, *filter.serial, words.file);
  if (words.format == "cfx" && !filter.id && !filter.kind) leave_out_checks(filter, reader, around);
  const RunFormat format = format_named(words.format, choice);
  write(format.header());
  reader.for_each(filter, [&](const StoredRun& run) { write(format.run(run)); });
  write(format.footer());
}

int export_runs(const RecordsWords& words, const Environment& around) {
  if (words.out.empty() || words.out == "-") {
    write_runs(
        words, [&around](std::string_view piece) { around.out << piece; }, around);
    return exit_code::kPassed;
  }
  try {
    check_writable(words.out);
    if (is_of_records(words.out, words.file))
      throw UsageError("the runs cannot be written over their own records");
    write_whole_file(words.out, [&](const WritePiece& write) { write_runs(words, write, around); });
    return exit_code::kPassed;
  } catch (const Unwritable& error) {
    around.err << "t1station: " << error.what() << "; nothing was written" << std::endl;
  } catch (const std::system_error& error) {
    around.err << "t1station: " << error.what() << std::endl;
  }
  return exit_code::kUnwritten;
}

int release(const RecordsWords& words, const Environment& around) {
  RecordsReader{words.file};  // a file that is not there is a mistake, not a new one
  try {
    Records(words.file).release(words.serial, words.reason, words.operator_name);
  } catch (const RecordsOwned& owned) {
    throw RecordsOwned(std::string(owned.what()) +
                       "; while a line runs, an engineer releases the unit on its page");
  }
  around.out << clean_text(words.serial) << " may be run again\n";
  return exit_code::kPassed;
}

using Doing = int (*)(const RecordsWords&, const Environment&);

std::string check_verdict(const std::string& word) {
  if (verdict_named(word)) return {};
  std::string all;
  for (const std::string_view name : verdict_names()) all += (all.empty() ? "" : ", ") + std::string(name);
  return "\"" + word + "\" is no verdict: there are " + all;
}

std::string check_not_blank(const std::string& word) {
  return without_blanks_around(word).empty() ? "it is empty" : "";
}

std::string check_format(const std::string& word) {
  std::string all;
  for (const std::string_view name : format_names()) {
    if (word == name) return {};
    all += (all.empty() ? "" : ", ") + std::string(name);
  }
  return "\"" + word + "\" is no format: there are " + all;
}

std::string check_kind(const std::string& word) {
  return word == "production" || word == "check"
             ? ""
             : "\"" + word + "\" is no kind: there are production and check";
}

std::string check_language(const std::string& word) {
  return language_named(word) ? "" : "\"" + word + "\" is no language: there are zh and en";
}

std::string with_exit_codes(const char* examples) {
  return std::string(footers::kRecordsExitCodes) + examples;
}

/// Makes the commands below `records`.
class Builder {
 public:
  Builder(CLI::App& records, Action& action) : records_(records), action_(action) {}

  CLI::App& add(const std::string& name, const std::string& text, Doing doing, const std::string& footer) {
    CLI::App* command = records_.add_subcommand(name, text);
    command->add_option("FILE", words_->file, "The records")->required();
    command->callback([this_action = &action_, words = words_, doing] {
      *this_action = [words, doing](const Environment& around) {
        return obey_with_records([&] { return doing(*words, around); }, around);
      };
    });
    command->footer(footer);
    return *command;
  }

  void add_window(CLI::App& command) {
    command.add_option("--serial", words_->serial, "Only runs of this unit")->type_name("SN");
    command.add_option("--plan", words_->plan, "Only runs under the plan of this name")->type_name("NAME");
    command.add_option("--kind", words_->kind, "Only runs of products, or only those of check units")
        ->type_name("production|check")
        ->check(CLI::Validator(check_kind, ""));
    command
        .add_option(
            "--from", words_->from,
            "Only runs that started then or later: 2026-11-22 (UTC), or a time, 2026-11-22T08:00+08:00")
        ->type_name("TIME");
    command.add_option("--to", words_->to, "Only runs that started before")->type_name("TIME");
  }

  RecordsWords& words() { return *words_; }

 private:
  CLI::App& records_;
  Action& action_;
  std::shared_ptr<RecordsWords> words_ = std::make_shared<RecordsWords>();
};

}  // namespace

void add_records_command(CLI::App& app, Action& action) {
  CLI::App* records = app.add_subcommand("records", "Look at records of runs; needs no board");
  records->callback([records] {
    if (!records->get_subcommands().empty()) return;
    throw UsageError(
        "records what? there are check, list, suspect, show, head, export, release, forward and central");
  });
  records->footer(footers::kRecords);
  Builder builder(*records, action);
  RecordsWords& words = builder.words();

  builder.add("check", "Say what in the records is not as it was stored", check, footers::kRecordsCheck)
      .add_option("--head", words.head, "A run's hash that must be in the chain")
      ->type_name("HASH")
      ->check(CLI::Validator(check_not_blank, ""));
  CLI::App& listing =
      builder.add("list", "Show runs, one a line", list, with_exit_codes(footers::kRecordsList));
  builder.add_window(listing);
  listing.add_option("--verdict", words.verdict, "Only runs that ended so")
      ->type_name("VERDICT")
      ->check(CLI::Validator(check_verdict, ""));
  builder
      .add("suspect", "Show the runs of a slot between its last wrong check and the one before", suspect,
           with_exit_codes(footers::kRecordsSuspect))
      .add_option("--slot", words.slot, "The slot's name")
      ->type_name("NAME")
      ->required();
  builder.add("show", "Show one run with its attempts", show, with_exit_codes(footers::kRecordsShow))
      .add_option("RUN", words.run, "The run's id")
      ->required();
  builder.add("head", "Print the hash of the run that ended last", head,
              with_exit_codes(footers::kRecordsHead));
  CLI::App& exporting = builder.add("export", "Write whole runs in a form for other programs", export_runs,
                                    with_exit_codes(footers::kRecordsExport));
  exporting
      .add_option("--format", words.format,
                  "jsonl (one run a line), csv (one attempt a row), junit, ocp, cfx, or html (to print: the "
                  "runs of --run or --serial, else a report of the window)")
      ->type_name("FORMAT")
      ->required()
      ->check(CLI::Validator(check_format, ""));
  exporting.add_option("--run", words.run, "Only the run with this id")->type_name("ID");
  builder.add_window(exporting);
  exporting.add_flag("--gbk", words.is_gbk, "csv in GBK instead of UTF-8");
  exporting.add_option("--language", words.language, "html in one language instead of both")
      ->type_name("zh|en")
      ->check(CLI::Validator(check_language, ""));
  exporting.add_option("-o,--out", words.out, "Write to this file instead of standard output")
      ->type_name("FILE");
  CLI::App& releasing = builder.add("release", "Let a unit run again that has used up its runs", release,
                                    with_exit_codes(footers::kRecordsRelease));
  releasing.add_option("SERIAL", words.serial, "The unit's serial number")->required();
  releasing.add_option("--reason", words.reason, "Why; kept with the records")
      ->type_name("TEXT")
      ->required()
      ->check(CLI::Validator(check_not_blank, ""));
  releasing.add_option("--operator", words.operator_name, "Who says so")->type_name("NAME");
  add_central_commands(*records, action);
}

}  // namespace t1station
