// A program recorded without any simulation, on files, terminals and sockets of this PC: nothing that it does
// changes, and whatever befalls the recording is the recording's own affair.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "boardrec/session/recording.h"
#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"

namespace {

using boardrec::Call;
using boardrec::Record;
using boardrec::ValueType;

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class RecordedProgramTest : public ::testing::Test {
 protected:
  struct Run {
    int status;
    std::string out;
    std::string err;
  };

  /// Runs the program for this deed; with a file it is recorded. `before` are words in front of it all.
  Run run(const std::string& deed, const std::string& recorded_to = {},
          const std::vector<std::string>& more = {}, std::vector<std::string> before = {}) {
    before.emplace_back("/usr/bin/env");
    before.emplace_back("-u");
    before.emplace_back("BOARDTEST_RECORDED");
    if (!recorded_to.empty()) {
      before.emplace_back("LD_PRELOAD=" RECORDER);
      before.push_back("BOARDRECORD=" + recorded_to);
    }
    before.insert(before.end(), more.begin(), more.end());
    before.insert(before.end(), {RECORDED_PROGRAM, deed, directory.path().string()});
    Child child(before);
    const int status = child.exit_status();
    return {status, child.rest(), child.err()};
  }

  /// Runs it with the recording anew.
  Run record(const std::string& deed, const std::vector<std::string>& more = {}) {
    std::filesystem::remove(file);
    return run(deed, file, more);
  }
  boardrec::Recording recording() const { return boardrec::read_recording(file); }

  OwnDirectory directory{};
  std::string file = directory.file("session.rec");
};

/// The records of one call.
std::vector<Record> all_of(const boardrec::Recording& recording, Call call) {
  std::vector<Record> records;
  for (const Record& record : recording.records) {
    if (record.call == call) records.push_back(record);
  }
  return records;
}

TEST_F(RecordedProgramTest, WhateverItDoesComesBackAsWithoutTheRecorder) {
  for (const std::string deed :
       {"files", "streams", "terminals", "sockets", "clocks", "bad-pointers", "unknown", "threads",
        "refused-thread", "cut-off", "cancelled", "close-all", "many", "leave", "leave-at-once"}) {
    SCOPED_TRACE(deed);
    const Run plain = run(deed);
    const Run recorded = record(deed);
    EXPECT_EQ(recorded.status, plain.status);
    EXPECT_EQ(recorded.out, plain.out);
    EXPECT_EQ(recorded.err, "");
    const boardrec::Recording its = recording();
    EXPECT_EQ(its.broken, "");
    EXPECT_EQ(its.records.front().call, Call::start);
    EXPECT_EQ(its.records.back().call, Call::finish);
    EXPECT_EQ(its.records.back().in[0].number, plain.status);
  }
}

TEST_F(RecordedProgramTest, ResultsAndErrorsAreThoseThatTheProgramSaw) {
  for (const std::string deed : {"files", "sockets", "terminals", "clocks", "bad-pointers", "cancelled"}) {
    SCOPED_TRACE(deed);
    const Run recorded = record(deed);
    std::vector<std::string> seen;
    for (const Record& its : recording().records) {
      seen.push_back(std::string(boardrec::find_call(its.call)->name) + " " + std::to_string(its.result) +
                     " " + std::to_string(its.error));
    }
    auto at = seen.begin();
    for (const std::string& line : lines_of(recorded.out)) {
      if (line.find(':') != std::string::npos) continue;
      at = std::find(at, seen.end(), line);
      ASSERT_NE(at++, seen.end()) << "no such call behind the one before: " << line;
    }
  }
}

TEST_F(RecordedProgramTest, ALongBlockThatIsReadBackStandsAsTheDigestOfWhatWasWritten) {
  record("files");
  const boardrec::Recording its = recording();
  const std::vector<Record> writes = all_of(its, Call::write);
  const std::vector<Record> reads = all_of(its, Call::read);
  ASSERT_EQ(writes.size(), 2U);
  ASSERT_EQ(reads.size(), 3U);
  EXPECT_EQ(writes[0].in[2].bytes, "some bytes");
  EXPECT_EQ(writes[1].in[2].type, ValueType::digest);
  EXPECT_EQ(reads[0].out[0].bytes, "bytes");
  EXPECT_EQ(reads[1].out[0], writes[1].in[2]);
  EXPECT_EQ(reads[2].out[0].type, ValueType::bytes);
  EXPECT_EQ(reads[2].out[0].size, 0U);
}

TEST_F(RecordedProgramTest, MemoryThatIsNoneIsFlaggedAndLeftOut) {
  record("bad-pointers");
  for (const Record& its : all_of(recording(), Call::ioctl)) {
    EXPECT_NE(its.flags & boardrec::kNotRecorded, 0U);
    EXPECT_EQ(its.in[2].type, ValueType::absent);
  }
}

TEST_F(RecordedProgramTest, ARequestThatNobodyKnowsIsFlaggedAndHasWhatItsNumberSays) {
  record("unknown");
  const std::vector<Record> requests = all_of(recording(), Call::ioctl);
  ASSERT_EQ(requests.size(), 3U);
  for (const Record& its : requests) EXPECT_NE(its.flags & boardrec::kUnknownSize, 0U);
  EXPECT_EQ(requests[0].in[2].size, 64U);
  EXPECT_TRUE(requests[0].in[2].bytes.starts_with("a record that nobody knows"));
  EXPECT_EQ(requests[1].in[2].number, 1234);
  EXPECT_EQ(requests[2].in[2].type, ValueType::absent);
}

TEST_F(RecordedProgramTest, LocksOfManyThreadsStandInAnOrderThatIsPossible) {
  record("threads");
  std::int64_t holder = -1;
  for (const Record& its : recording().records) {
    if (its.call == Call::pthread_mutex_lock) {
      EXPECT_EQ(holder, -1) << "record " << its.number;
      holder = its.thread;
    }
    if (its.call == Call::pthread_mutex_unlock) {
      EXPECT_EQ(holder, its.thread) << "record " << its.number;
      holder = -1;
    }
  }
}

TEST_F(RecordedProgramTest, AThreadsCreationStandsBeforeItsCallsAndItsEndBehindThem) {
  record("threads");
  std::map<std::int64_t, int> states;  // 1 created, 2 ended
  states[0] = 1;
  for (const Record& its : recording().records) {
    if (its.call != Call::finish) {
      EXPECT_EQ(states[its.thread], 1) << "record " << its.number;
    }
    if (its.call == Call::pthread_create) states[its.out[0].number] = 1;
    if (its.call == Call::thread_ended) states[its.thread] = 2;
  }
  EXPECT_EQ(states.size(), 9U);
}

TEST_F(RecordedProgramTest, AThreadThatCannotBeCreatedTakesNoNumber) {
  record("refused-thread");
  const std::vector<Record> created = all_of(recording(), Call::pthread_create);
  ASSERT_EQ(created.size(), 2U);
  EXPECT_EQ(created[0].error, EAGAIN);
  EXPECT_EQ(created[0].out[0].type, ValueType::absent);
  EXPECT_EQ(created[1].out[0].number, 1);
}

TEST_F(RecordedProgramTest, NothingIsReadBehindTheRoomThatTheProgramGave) {
  record("cut-off");
  const std::vector<Record> received = all_of(recording(), Call::recv);
  const std::vector<Record> accepted = all_of(recording(), Call::accept);
  ASSERT_EQ(received.size(), 1U);
  ASSERT_EQ(accepted.size(), 1U);
  EXPECT_EQ(received[0].result, 10);
  EXPECT_EQ(received[0].out[0].bytes, "a");
  EXPECT_EQ(accepted[0].out[0].bytes.size(), 1U);
}

TEST_F(RecordedProgramTest, AThreadThatIsCancelledRunsItsHandlersBehindTheCallThatItWasIn) {
  record("cancelled");
  std::vector<Call> calls;
  for (const Record& its : recording().records) {
    if (its.thread == 1) calls.push_back(its.call);
    if (its.thread == 1 && (its.flags & boardrec::kCancelled) != 0) {
      EXPECT_EQ(its.call, Call::read);
    }
  }
  ASSERT_GE(calls.size(), 3U);
  EXPECT_EQ(std::vector<Call>(calls.end() - 3, calls.end()),
            (std::vector<Call>{Call::read, Call::pthread_mutex_unlock, Call::thread_ended}));
}

TEST_F(RecordedProgramTest, ProgramsThatItStartsAreNotRecordedAndOtherPreloadedLibrariesStay) {
  const Run its =
      run("children", file, {"LD_PRELOAD=libm.so.6:" RECORDER ":libc.so.6", "BOARDRECORD_LIMIT=100000"});
  EXPECT_EQ(lines_of(its.out).front(), "libm.so.6:libc.so.6||");
  const boardrec::Recording recorded = recording();
  EXPECT_EQ(all_of(recorded, Call::access).size(), 0U);  // its own child's
  EXPECT_EQ(all_of(recorded, Call::finish).size(), 1U);
}

TEST_F(RecordedProgramTest, WithoutAFileNothingIsRecorded) {
  const Run its = run("files", {}, {"LD_PRELOAD=" RECORDER});
  EXPECT_EQ(its.status, 0);
  EXPECT_EQ(its.err, "");
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()) || !std::filesystem::exists(file));
}

TEST_F(RecordedProgramTest, AFilesNameCanHaveTheProcesssNumber) {
  run("leave", directory.file("run-%p.rec"));
  run("leave", directory.file("run-%p.rec"));
  const std::filesystem::directory_iterator files(directory.path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 2);
}

// ---- what befalls a recording ---------------------------------------------------------------------------

TEST_F(RecordedProgramTest, AtItsLimitItEndsWithANoteAndTheProgramGoesOn) {
  const Run its = record("many", {"BOARDRECORD_LIMIT=100000"});
  EXPECT_EQ(its.status, 7);
  EXPECT_EQ(its.out, run("many").out);
  EXPECT_EQ(its.err, "boardrecord: recording ends: the limit of 100000 bytes was reached\n");
  EXPECT_LE(std::filesystem::file_size(file), 100'000U);
  EXPECT_GE(std::filesystem::file_size(file), 97'000U);
  const boardrec::Recording recorded = recording();
  EXPECT_EQ(recorded.broken, "");
  EXPECT_EQ(recorded.records.back().call, Call::note);
  EXPECT_EQ(recorded.records.back().in[0].bytes, "the limit of 100000 bytes was reached");
}

TEST_F(RecordedProgramTest, ALimitThatIsNoNumberIsSaidAndTheUsualOneTaken) {
  for (const std::string limit : {"", "32M", "-1"}) {
    const Run its = record("many", {"BOARDRECORD_LIMIT=" + limit});
    EXPECT_EQ(its.err,
              "boardrecord: BOARDRECORD_LIMIT is no number of bytes, the limit is 33554432: " + limit + "\n");
    EXPECT_EQ(recording().records.back().call, Call::finish);
  }
}

TEST_F(RecordedProgramTest, WhatWasRecordedBeforeStaysAndTheNextNameIsTaken) {
  EXPECT_EQ(record("many").err, "");
  const auto size = std::filesystem::file_size(file);
  for (const std::string& next : {file + ".1", file + ".2"}) {
    EXPECT_EQ(run("leave", file).err,
              "boardrecord: " + file + " is there already, the recording goes to " + next + "\n");
    EXPECT_EQ(boardrec::read_recording(next).records.front().call, Call::start);
  }
  EXPECT_EQ(std::filesystem::file_size(file), size);
  EXPECT_EQ(recording().broken, "");
}

TEST_F(RecordedProgramTest, TheKernelsLimitOfFilesIsItsOwn) {
  const Run its = run("many", file, {}, {"/bin/sh", "-c", "ulimit -f 100; exec \"$@\"", "sh"});
  EXPECT_EQ(its.status, 7);  // not killed by the signal of that limit
  EXPECT_EQ(recording().records.back().call, Call::note);
}

TEST_F(RecordedProgramTest, ADiskWithoutRoomEndsItAndTheProgramGoesOn) {
  const Run its = run("many", "/dev/full");
  EXPECT_EQ(its.status, 7);
  EXPECT_EQ(its.out, run("many").out);
  EXPECT_EQ(its.err, "boardrecord: recording ends: the file takes no more (errno 28)\n");
}

TEST_F(RecordedProgramTest, ARecordThatHasNoRoomOnTheDiskIsCutOffAgain) {
  const std::string disk = directory.file("disk");
  std::filesystem::create_directory(disk);
  const std::string script = "mount -t tmpfs -o size=64k none " + disk +
                             " || exit 99; \"$@\"; status=$?; cp " + disk + "/session.rec " + file +
                             "; exit $status";
  const Run its =
      run("many", disk + "/session.rec", {}, {"/usr/bin/unshare", "-rm", "/bin/sh", "-c", script, "sh"});
  if (its.status == 99 || its.err.find("unshare") != std::string::npos)
    GTEST_SKIP() << "no disk of its own: " << its.err;
  EXPECT_EQ(its.status, 7);
  EXPECT_EQ(its.err, "boardrecord: recording ends: the file takes no more (errno 28)\n");
  const boardrec::Recording recorded = recording();
  EXPECT_EQ(recorded.broken, "");
  EXPECT_GE(recorded.records.size(), 20U);
}

TEST_F(RecordedProgramTest, AFileThatCannotBeWrittenIsSaidAndTheProgramGoesOn) {
  const std::string pipe = directory.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::vector<std::pair<std::string, std::string>> kFiles = {
      {"/nonexistent/file",
       "boardrecord: /nonexistent/file cannot be written: nothing is recorded (errno 2)\n"},
      {directory.path(),
       "boardrecord: " + directory.path().string() + " cannot be written: nothing is recorded (errno 21)\n"},
      {pipe, "boardrecord: " + pipe + " cannot be written: nothing is recorded (errno 6)\n"}};
  for (const auto& [name, text] : kFiles) {
    const Run its = run("files", name);
    EXPECT_EQ(its.status, 0);
    EXPECT_EQ(its.out, run("files").out);
    EXPECT_EQ(its.err, text);
  }
}

TEST_F(RecordedProgramTest, AProgramWithoutDescriptorsToSpareIsNotRecorded) {
  const std::vector<std::string> few = {
      "/bin/bash", "-c", "for fd in {3..255}; do exec {fd}>&-; done; ulimit -n 4; exec \"$@\"", "bash"};
  const Run its = run("files", file, {}, few);
  EXPECT_EQ(its.status, 0);
  EXPECT_EQ(its.out, run("files", {}, {}, few).out);
  EXPECT_EQ(its.err, "boardrecord: " + file +
                         " needs three descriptors, which the program does not have: nothing is recorded\n");
}

TEST_F(RecordedProgramTest, WhatWasRecordedBeforeAKillIsThere) {
  Child child({"/usr/bin/env", "LD_PRELOAD=" RECORDER, "BOARDRECORD=" + file, RECORDED_PROGRAM, "forever"});
  EXPECT_EQ(child.next_line(), "working");
  child.signal(SIGKILL);
  EXPECT_EQ(child.exit_status(), 128 + SIGKILL);
  const boardrec::Recording recorded = recording();
  EXPECT_GE(recorded.records.size(), 1000U);
  EXPECT_NE(recorded.records.back().call, Call::finish);
}

TEST_F(RecordedProgramTest, AProgramThatCrashesLeavesItsRecordsWithoutAnEnd) {
  EXPECT_EQ(record("crash").status, 128 + SIGABRT);
  EXPECT_EQ(recording().records.back().call, Call::start);
}

}  // namespace
