#include "station/web/documents.h"

#include <array>

#include "station/line/slot_json.h"
#include "station/report/run_json.h"
#include "station/text/json.h"

namespace t1station {
namespace {

std::string label_value(const std::string& text) {
  std::string value;
  for (const char letter : text) {
    if (letter == '\n') {
      value += "\\n";
      continue;
    }
    if (letter == '"' || letter == '\\') value += '\\';
    value += letter;
  }
  return value;
}

/// Figures below one name.
class Figures {
 public:
  Figures(std::string& text, const std::string& name, const std::string& type, const std::string& help)
      : text_(text), name_(name) {
    text_ += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n";
  }
  void add(const std::string& labels, std::int64_t value) {
    text_ += name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + std::to_string(value) + "\n";
  }
  void add(const SlotCounts& counts, const std::string& label) {
    for (const auto& [of, count] : counts) {
      add("slot=\"" + label_value(of.first) + "\"," + label + "=\"" + label_value(of.second) + "\"", count);
    }
  }

 private:
  std::string& text_;
  std::string name_;
};

}  // namespace

std::string LineDocument::text(const LineView& line) {
  const Json head{{"station", line.station},
                  {"language", line.language},
                  {"records", line.records},
                  {"central", {{"state", line.central.state}, {"behind", line.central.behind}}},
                  {"mqtt", {{"state", line.mqtt}}},
                  {"today",
                   {{"runs", line.today.runs},
                    {"passed", line.today.passed},
                    {"failed", line.today.failed},
                    {"error", line.today.error},
                    {"first_pass_yield", json_or_null(line.today.first_pass_yield)}}}};
  std::string text = json_text(head);
  text.pop_back();  // the slots belong into the object
  text += ",\"slots\":[";
  slots_.resize(line.slots.size());
  for (std::size_t i = 0; i < line.slots.size(); ++i) {
    Written& written = slots_[i];
    if (written.text.empty() || written.slot != line.slots[i]) {
      written = {line.slots[i], slot_json(line.slots[i])};
    }
    text += (i > 0 ? "," : "") + written.text;
  }
  return text + "]}";
}

std::string with_time(const std::string& document, const std::string& time) {
  return R"({"time":")" + time + "\"," + document.substr(1);
}

std::string runs_document(const std::vector<StoredRun>& runs) {
  std::string document = R"({"runs":[)";
  for (const StoredRun& run : runs) document += (&run == &runs.front() ? "" : ",") + run_row_json(run);
  return document + "]}";
}

std::string metrics_text(const LineView& line, const EndCounts& counts, std::size_t streams) {
  std::string text;
  Figures(text, "boardtest_runs_total", "counter", "Runs that ended since the station started.")
      .add(counts.runs, "verdict");
  Figures(text, "boardtest_attempts_total", "counter", "Attempts of these runs.")
      .add(counts.attempts, "outcome");
  Figures slots(text, "boardtest_slots", "gauge", "Slots by what they are doing.");
  for (const SlotState state :
       {SlotState::idle, SlotState::waiting, SlotState::testing, SlotState::done, SlotState::locked}) {
    const auto count = std::count_if(line.slots.begin(), line.slots.end(),
                                     [state](const SlotView& slot) { return slot.state == state; });
    slots.add("state=\"" + std::string(slot_state_name(state)) + "\"", count);
  }
  Figures(text, "boardtest_records_ok", "gauge", "1 as long as the records can be written.")
      .add("", line.records == "ok" ? 1 : 0);
  Figures(text, "boardtest_central_behind", "gauge", "Ended runs that are not in the central database yet.")
      .add("", line.central.behind);
  if (line.mqtt != "off") {
    Figures(text, "boardtest_mqtt_connected", "gauge", "1 as long as the MQTT broker is told of the line.")
        .add("", line.mqtt == "connected" ? 1 : 0);
  }
  Figures(text, "boardtest_streams", "gauge", "Open streams of events.")
      .add("", static_cast<std::int64_t>(streams));
  return text;
}

}  // namespace t1station
