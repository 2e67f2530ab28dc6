// What stands behind the options in the help of each command: notes, exit codes, files and examples. The
// manual pages are made of it (scripts/man_pages.py): a heading ends with a colon, an entry below it is two
// spaces in, and its text stands behind two spaces more, or on the next lines further in.
#pragma once

namespace t1station::footers {

inline constexpr char kProgram[] =
    R"(Codes of tests, what a plan says and what a record holds: docs/ of the project.
t1station COMMAND --help shows the options, exit codes and examples of a command.

Examples:
  t1station list
      which tests there are
  t1station 192.0.2.7 run rtc light
      two tests on the board at this address
  t1station line check ICT-3.toml && t1station line ICT-3.toml
      a line, if nothing is wrong with its file
  t1station records export records.db --format html --serial AB00000001 -o unit.html
      a unit's runs, to print
)";

inline constexpr char kList[] = R"(Exit codes:
  0  shown
  4  usage
  7  standard output could not be written

Examples:
  t1station list
      all tests: codes, names, usual lengths
  t1station list --family 6484
      those that a 6484 is given, in their order
)";

inline constexpr char kRun[] =
    R"(HOST is HOST or HOST:PORT, port 36001 by default. A unit's way through a plan is kept in the records; its verdict
is found from what is stored there.

Exit codes:
  0  all tests passed; with a plan: the unit passed
  1  a test failed; with a plan: the unit failed
  2  interrupted; with a plan: stopped
  4  usage; with a plan also: plan, unit or records refused
  5  nothing selected
  6  board unreachable or protocol broken; with a plan also: error, or records that cannot be written
  7  a report or standard output could not be written

Files:
  FILE, FILE-wal, FILE-shm
      the records of --records: one SQLite file, and what belongs to it while it is written

Environment:
  NO_COLOR
      when it is set, --color auto means never

Examples:
  t1station 192.0.2.7 run rtc 0x3900 7426
      three tests, by name and by code
  t1station 192.0.2.7 run set-sub-6484=960
      a test that takes a voltage, here 9.60 V
  t1station 192.0.2.7 run --family 6484 --fail-fast --junit results.xml
      all tests of a family, up to the first that does not pass
  t1station 192.0.2.7 run --plan plans/6484.toml --serial AB00000001 --records records.db
      a unit through a plan
)";

inline constexpr char kMonitor[] = R"(HOST is HOST or HOST:PORT, port 36001 by default.

Exit codes:
  0  a limit is reached
  2  interrupted
  4  usage
  6  board unreachable, closed or unreadable
  7  standard output could not be written

Examples:
  t1station 192.0.2.7 monitor --for 30
      banner, menu and heartbeat of half a minute
)";

inline constexpr char kEcho[] = R"(Exit codes:
  0  the echo is right
  1  it is not
  2  interrupted
  4  usage
  6  no echo or no device
  7  standard output could not be written

Examples:
  t1station rs485-echo /dev/ttyUSB0
      sends what the station sends, and says whether the board's echo was right
)";

inline constexpr char kLine[] =
    R"(t1station line FILE serves until Ctrl-C; t1station line check FILE says what is wrong with it.

Exit codes:
  0  ended in order
  4  the file, its users or keys are bad, or the records are another process's
  6  the port is taken, or the records cannot be written

Files:
  FILE
      the line: station, slots, plans, users, interfaces to other systems; paths in it are relative to it

Examples:
  t1station line ICT-3.toml
      serves the operator's page at the address that it prints
  systemctl enable --now t1station-line@ICT-3
      the same as a service, of /etc/t1station/ICT-3.toml
)";

inline constexpr char kLineCheck[] = R"(Exit codes:
  0  all is good
  4  it is not, with FILE:LINE:COLUMN: message for each mistake
  7  standard output could not be written

Examples:
  t1station line check ICT-3.toml
      slots and plans as the line would have them
)";

inline constexpr char kPlan[] = R"(t1station plan check --help shows its exit codes.
)";

inline constexpr char kPlanCheck[] = R"(Exit codes:
  0  all are good
  4  one is not, with FILE:LINE:COLUMN: message for each mistake
  7  standard output could not be written

Examples:
  t1station plan check plans/6484.toml
      its steps with codes, limits and repeats
)";

inline constexpr char kUsers[] = R"(t1station users add --help shows its exit codes.
)";

inline constexpr char kUsersAdd[] = R"(The password is asked for twice; from a pipe it is one line.

Exit codes:
  0  added
  2  interrupted
  4  usage, or the file is bad
  7  the file, or standard output, could not be written

Files:
  FILE
      names, roles and hashes of passwords; readable by its owner only, who must be the user that the line runs as

Examples:
  t1station users add users.toml Wu --role operator
      asks for a password
)";

inline constexpr char kStats[] = R"(Exit codes:
  0  shown
  2  interrupted
  4  usage, or these are no records that can be used
  6  the records cannot be read, or the database is out of reach
  7  standard output could not be written

Examples:
  t1station stats records.db --from 2026-11-22
      yields, failures, slots and measurements since that day began (UTC)
  t1station stats postgresql://line@db.plant.example/boards --json
      those of all stations, for a program
)";

inline constexpr char kRecords[] =
    R"(t1station records COMMAND --help shows the options, exit codes and examples of a command.

Files:
  FILE, FILE-wal, FILE-shm
      the records: one SQLite file, and what belongs to it while it is written
  FILE-figures
      figures of a large file, to find them sooner; may be deleted
)";

inline constexpr char kRecordsCheck[] = R"(Exit codes:
  0  everything is as it was stored
  1  there are findings, one a line
  2  interrupted
  4  usage, or these are no records that can be used
  6  the records cannot be read, or the database is out of reach
  7  standard output could not be written

Examples:
  t1station records check records.db
      whether anything was changed since it was stored
  t1station records check records.db --head 5f70...
      whether all is there up to the run with this hash
)";

/// Of the commands for which these say all; their examples follow.
inline constexpr char kRecordsExitCodes[] = R"(Exit codes:
  0  done
  4  usage, or these are no records that can be used
  6  the records cannot be read or written
  7  the output could not be written

Examples:
)";

inline constexpr char kRecordsList[] =
    R"(  t1station records list records.db --from 2026-11-22 --verdict failed
      what failed since that day began (UTC)
)";

inline constexpr char kRecordsSuspect[] = R"(  t1station records suspect records.db --slot 2
      runs that slot 2 may have judged wrongly
)";

inline constexpr char kRecordsShow[] =
    R"(  t1station records show records.db 01935f0e-7c1a-7000-8000-5a1e5b0c0001
      the run with this id
)";

inline constexpr char kRecordsHead[] = R"(  t1station records head records.db
      a hash to be kept elsewhere, for records check --head
)";

inline constexpr char kRecordsExport[] =
    R"(  t1station records export records.db --format jsonl --from 2026-11-22 -o runs.jsonl
      the runs since that day began (UTC), one a line
  t1station records export records.db --format html --serial AB00000001 -o unit.html
      a unit's reports, to print
)";

inline constexpr char kRecordsRelease[] =
    R"(  t1station records release records.db AB00000001 --reason reworked --operator Wu
      lets the unit be tested again
)";

inline constexpr char kForward[] = R"(No other process may own the file: a running line sends by itself.

Exit codes:
  0  all is there
  2  interrupted
  4  usage, or these are no records or tables that can be used
  6  the database is out of reach or refuses, or the records cannot be written
  7  standard output could not be written

Files:
  ~/.pgpass
      passwords of databases, for their owner only; PGPASSFILE, or ?passfile=FILE behind the URL, names another one

Examples:
  t1station records forward records.db --to postgresql://line@db.plant.example/boards
      sends the runs that are left
)";

inline constexpr char kCentralInit[] = R"(Exit codes:
  0  the tables are there
  2  interrupted
  4  usage, or the tables are newer than this t1station
  6  the database is out of reach or refuses
  7  standard output could not be written

Files:
  ~/.pgpass
      passwords of databases, for their owner only; PGPASSFILE, or ?passfile=FILE behind the URL, names another one

Examples:
  t1station records central init postgresql://boards_owner@db.plant.example/boards --role line
      makes the tables, which stations may fill as the role line
)";

}  // namespace t1station::footers
