#include "station/app/records_words.h"

#include "station/app/exit_code.h"
#include "station/records/database.h"
#include "station/records/reader.h"
#include "station/records/records.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {

std::optional<std::string> time_of(const std::string& option, const std::string& word) {
  if (word.empty()) return std::nullopt;
  const std::optional<std::string> time = whole_time(word);
  if (time) return time;
  throw UsageError(
      option + " is no time: \"" + word +
      "\"; it is 2026-11-22 (UTC), 2026-11-22T03:17Z or, of a clock in China, 2026-11-22T11:17+08:00");
}

TimeWindow window_of(const std::string& from, const std::string& to) {
  TimeWindow window{time_of("--from", from), time_of("--to", to)};
  if (window.first && window.second && *window.second < *window.first)
    throw UsageError("--to is before --from");
  return window;
}

int obey_with_records(const std::function<int()>& doing, const Environment& around) {
  const auto complain = [&around](const std::string& text, int code) {
    around.err << "t1station: " << text << std::endl;
    return code;
  };
  try {
    return doing();
  } catch (const RecordsRefused& refusal) {
    return complain(refusal.what(), exit_code::kUsage);
  } catch (const RecordsBroken& trouble) {
    return complain(trouble.what(), exit_code::kBroken);
  } catch (const SqlError& trouble) {
    return complain("the records cannot be read: " + std::string(trouble.what()), exit_code::kBroken);
  } catch (const CentralTrouble& trouble) {
    return complain("the central database: " + clean_text(trouble.what()), exit_code::kBroken);
  } catch (const CentralStopped&) {
    return exit_code::kInterrupted;
  }
}

}  // namespace t1station
