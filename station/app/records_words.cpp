#include "station/app/records_words.h"

#include "station/app/exit_code.h"
#include "station/records/reader.h"
#include "station/records/records.h"
#include "station/text/errors.h"

namespace t1station {

std::optional<std::string> time_of(const std::string& option, const std::string& word) {
  if (word.empty()) return std::nullopt;
  const std::optional<std::string> time = whole_time(word);
  if (time) return time;
  throw UsageError(option + " is no time: \"" + word +
                   "\"; it is 2026-11-22 or 2026-11-22T03:17:12.345Z, in UTC");
}

int obey_with_records(const std::function<int()>& doing, const Environment& around) {
  try {
    return doing();
  } catch (const RecordsRefused& refusal) {
    around.err << "t1station: " << refusal.what() << std::endl;
    return exit_code::kUsage;
  } catch (const RecordsBroken& trouble) {
    around.err << "t1station: " << trouble.what() << std::endl;
    return exit_code::kBroken;
  }
}

}  // namespace t1station
