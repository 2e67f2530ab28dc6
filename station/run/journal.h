// What keeps a run while it goes on: nothing goes out and nothing is shown before it has said that it is
// stored.
#pragma once

#include <string>
#include <string_view>

#include "station/records/records.h"

namespace t1station {

/// Members throw RecordsBroken when storing fails; the run is over then.
class Journal {
 public:
  Journal() = default;
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  virtual ~Journal() = default;

  /// A board with this build line has greeted a new connection.
  virtual void connected(std::string_view build) = 0;
  /// The request of an attempt is about to go out. Run and connection are the journal's to fill in.
  virtual void attempt_starts(NewAttempt attempt) = 0;
  /// The attempt that started last is over.
  virtual void attempt_ended(const AttemptEnd& end) = 0;
  /// Nothing more is run.
  virtual void run_ended(const RunEnd& end) = 0;
};

/// Keeps nothing, for tests that are asked for one by one.
class NoJournal final : public Journal {
 public:
  void connected(std::string_view /*build*/) override {}
  void attempt_starts(NewAttempt /*attempt*/) override {}
  void attempt_ended(const AttemptEnd& /*end*/) override {}
  void run_ended(const RunEnd& /*end*/) override {}
};

/// Keeps a run in the records.
class RecordsJournal final : public Journal {
 public:
  /// `run` is the run's id, `board` HOST:PORT. `records` must outlive this.
  RecordsJournal(Records& records, std::string run, std::string board)
      : records_(records), run_(std::move(run)), board_(std::move(board)) {}

  void connected(std::string_view build) override {
    connection_ = records_.add_connection(run_, board_, build);
  }
  void attempt_starts(NewAttempt attempt) override {
    attempt.run = run_;
    attempt.connection = connection_;
    attempt_ = records_.begin_attempt(attempt);
  }
  void attempt_ended(const AttemptEnd& end) override { records_.end_attempt(attempt_, end); }
  void run_ended(const RunEnd& end) override { ended_ = records_.end_run(run_, end); }

  /// The run's end as it is stored; call it behind run_ended().
  const EndedRun& ended() const { return ended_; }

 private:
  Records& records_;
  std::string run_, board_, connection_, attempt_;
  EndedRun ended_;
};

}  // namespace t1station
