// What each request asks for: who may ask, where it is dealt with, and the answer.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "station/figures/figures.h"
#include "station/line/line.h"
#include "station/records/reader.h"
#include "station/web/http.h"
#include "station/web/target.h"
#include "station/web/users.h"

namespace t1station {

/// Who asks. Where nobody logs in, an engineer without a name.
struct Asker {
  std::string name;
  Role role = Role::engineer;
};

/// What requests are about. Everything must outlive it.
class Subject {
 public:
  /// Throws RecordsRefused, RecordsBroken when the file cannot be read.
  Subject(Line& line, std::string records_file);

  Line& line() const { return line_; }
  /// What is stored now. Throws as the constructor does.
  RecordsReader reader() const { return RecordsReader(records_file_, &is_ending_); }
  /// The runs that a filter wants, without their attempts. Throws as the constructor does.
  std::vector<StoredRun> runs(const RunFilter& filter) const;
  /// The figures of a window. Throws as the constructor does.
  Figures figures(const FigureWindow& window) const;
  /// Readings that take long fail from now on: nobody waits for them. From any thread.
  void end() { is_ending_ = true; }
  /// Runs and attempts since this was made. Throws as the constructor does. From any thread.
  EndCounts counts();
  /// Open streams of events; the server says how many.
  std::atomic<std::size_t> streams = 0;

 private:
  Line& line_;
  std::string records_file_;
  std::atomic<bool> is_ending_ = false;
  std::mutex lock_;
  EndCounts counts_;
};

/// A request whose sense is known.
struct Call {
  WebRequest request;
  Target target;
  std::vector<std::string> words;  ///< what stands for the stars of the row's path
  Asker asker;
  std::string session;  ///< empty without one
};

/// Where a request is dealt with: what stores or reads may wait for a disk, figures of a large file take many
/// seconds the first time, and passwords take their time.
enum class Place { at_once, storing, reading, figures, login, logout, events };

/// A kind of request.
struct RequestRow {
  std::string_view method;  ///< GET (which is also HEAD) or POST
  std::string_view path;    ///< a star is any one part
  bool is_open;             ///< needs nobody to be logged in
  Role role;                ///< the least that may, unless it is open
  Place place;
  WebAnswer (*answer)(const Call& call, Subject& subject);  ///< throws what error_answer_of() knows
};

/// The row of a request; fills in target and words. Throws WebError: 400, 404, 405.
const RequestRow& row_of(Call& call);

/// Throws WebError unless a request of this row has what it needs besides its asker: 403 for another origin
/// than `own_origin`, 415 for another body than JSON.
void check_state_change(const RequestRow& row, const WebRequest& request, const std::string& own_origin);

/// The answer to an exception that is in flight.
WebAnswer error_answer_of_current();

/// Whether a request needs nobody to be logged in.
bool is_open(const RequestRow& row, const Call& call);

/// The login page in place of a page that needs a login. Throws WebError, 401, for what is no page.
WebAnswer login_page_instead(const RequestRow& row);

}  // namespace t1station
