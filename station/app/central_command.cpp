#include "station/app/central_command.h"

#include "station/app/exit_code.h"
#include "station/app/footers.h"
#include "station/app/records_words.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "station/central/address.h"
#include "station/central/central_schema.h"
#include "station/central/delivery.h"
#include "station/records/reader.h"
#include "station/records/records.h"
#include "station/text/text.h"

namespace t1station {
namespace {

/// The words behind these commands.
struct CentralWords {
  std::string url, file, role;
};

int init(const CentralWords& words, const Environment& around) {
  check_central_url(words.url);
  Postgres database(words.url, {}, around.interrupt.descriptor());
  if (!words.role.empty()) expect_role(database, words.role);
  const std::int64_t before = bring_central_up_to_date(database, central_migrations());
  if (before == 0) {
    around.out << "the tables were made\n";
  } else if (before == kCentralVersion) {
    around.out << "the tables were there\n";
  } else {
    around.out << "the tables were brought from version " << before << " to " << kCentralVersion << "\n";
  }
  if (words.role.empty()) return exit_code::kPassed;
  grant_to_station(database, words.role);
  around.out << clean_text(words.role) << " may insert and read\n";
  return exit_code::kPassed;
}

int forward(const CentralWords& words, const Environment& around) {
  check_central_url(words.url);
  RecordsReader{words.file};  // a file that is not there is a mistake, not a new one
  Records records(words.file);
  const std::int64_t sent = forward_all(words.url, words.file, records, {}, around.interrupt.descriptor());
  around.out << sent << " runs were sent; nothing is left\n";
  return exit_code::kPassed;
}

void set_action(CLI::App& command, Action& action, const std::shared_ptr<CentralWords>& words,
                int (*doing)(const CentralWords&, const Environment&)) {
  command.callback([&action, words, doing] {
    action = [words, doing](const Environment& around) {
      return obey_with_records([&] { return doing(*words, around); }, around);
    };
  });
}

}  // namespace

void add_central_commands(CLI::App& records, Action& action) {
  const auto words = std::make_shared<CentralWords>();
  CLI::App* forwarding =
      records.add_subcommand("forward", "Send to the central database what is not there yet");
  forwarding->add_option("FILE", words->file, "The records")->required();
  forwarding->add_option("--to", words->url, "The database: postgresql://USER@HOST/DATABASE")
      ->type_name("URL")
      ->required();
  forwarding->footer(footers::kForward);
  set_action(*forwarding, action, words, forward);

  CLI::App* central = records.add_subcommand("central", "The tables of a central database");
  central->require_subcommand(1);
  CLI::App* making = central->add_subcommand("init", "Make the tables, or bring them up to date");
  making->add_option("URL", words->url, "The database: postgresql://USER@HOST/DATABASE")->required();
  making
      ->add_option("--role", words->role,
                   "A role that is there: it may insert and read, and nothing else, from now on")
      ->type_name("NAME");
  making->footer(footers::kCentralInit);
  set_action(*making, action, words, init);
}

}  // namespace t1station
