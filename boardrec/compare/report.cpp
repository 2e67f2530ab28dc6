#include "boardrec/compare/report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "boardrec/compare/questions.h"

namespace boardrec {
namespace {

std::string count_text(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// Columns as wide as their widest cell; all but the first to the right.
std::string columns(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string room(widths[i] - row[i].size(), ' ');
      text += i == 0 ? row[i] + room : "  " + room + row[i];
    }
    text += "\n";
  }
  return text;
}

std::string device_table(const Comparison& comparison) {
  std::vector<std::vector<std::string>> rows;
  rows.push_back({"Device", "Compared", "Agree", "Differ", "Recorded only", "Simulated only"});
  for (const DeviceCount& device : comparison.devices) {
    const auto cell = [](std::size_t count) { return count == 0 ? "-" : std::to_string(count); };
    rows.push_back({device.device, cell(device.compared), cell(device.agree()), cell(device.differ),
                    cell(device.only_recorded), cell(device.only_simulated)});
  }
  return columns(rows);
}

std::string finding_text(const Finding& finding) {
  const Difference& difference = finding.difference;
  return finding.device + ", " + finding.kind + ": " + std::to_string(finding.differ) + " of " +
         std::to_string(finding.compared) + " differ\n  first at " + seconds_text(finding.time) + " s, " +
         finding.segment + (finding.after_parting ? ", where the program had gone another way already" : "") +
         "\n  " + finding.question + "\n    " + difference.what + ": recorded " + difference.recorded +
         ", simulated " + difference.simulated + "\n";
}

std::string parting_text(const Parting& parting) {
  std::string text = parting.segment;
  if (parting.more_segments > 0)
    text += " and " + std::to_string(parting.more_segments) + " more, to which one of them never came";
  text += "\n";
  const auto side = [&text](const char* name, std::size_t count, const std::string& first) {
    if (count > 0) text += name + count_text(count, "question") + ", first " + first + "\n";
  };
  side("  only the recorded program: ", parting.recorded, parting.first_recorded);
  side("  only the simulated one: ", parting.simulated, parting.first_simulated);
  return text +
         (parting.because.empty() ? "  no answer differed before\n" : "  because: " + parting.because + "\n");
}

std::string untouched_text(const KnownNode& node) {
  if (!node.is_used) return node.path + "\n";
  std::string text;
  for (const KnownNode::Request& request : node.requests)
    text += node.path + " " + request_text(request.number) + ": " + request.meaning + "\n";
  return text;
}

/// A part with its heading; nothing when there is nothing in it.
template <class Items, class Text>
std::string section(const std::string& heading, const Items& items, Text text) {
  if (items.empty()) return {};
  std::string result = "\n== " + heading + "\n";
  for (const auto& item : items) result += text(item);
  return result;
}

}  // namespace

std::string table_text(const Report& report) {
  const Comparison& comparison = report.comparison;
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.1f", report.seconds);
  std::string text = "Recording " + report.file + ": " + seconds + " s, " +
                     count_text(comparison.requests, "request") + " of the station\nSimulated board " +
                     report.board + "\n";
  if (!report.broken.empty()) text += "The recording ends early: " + report.broken + "\n";
  if (comparison.requests == 0) text += "The station asked for no test\n";
  text += "\n" + device_table(comparison);
  text += section("What differs", comparison.findings, finding_text);
  text += section("Where the programs went different ways", comparison.partings, parting_text);
  text += section("What the recording never touched", report.untouched, untouched_text);
  if (comparison.agrees()) return text + "\nThe boards agree in everything that was recorded.\n";
  return text + "\nThe boards differ: " + count_text(comparison.findings.size(), "kind") + " of answers, " +
         count_text(comparison.partings.size(), "request") +
         " behind which the programs went different ways.\n";
}

std::string json_text(const Report& report) {
  const Comparison& comparison = report.comparison;
  nlohmann::ordered_json all{
      {"file", report.file},     {"board", report.board},           {"seconds", report.seconds},
      {"broken", report.broken}, {"requests", comparison.requests}, {"agrees", comparison.agrees()}};
  for (const char* list : {"devices", "differences", "partings", "untouched"})
    all[list] = nlohmann::ordered_json::array();
  for (const DeviceCount& device : comparison.devices) {
    all["devices"].push_back({{"device", device.device},
                              {"compared", device.compared},
                              {"agree", device.agree()},
                              {"differ", device.differ},
                              {"recorded_only", device.only_recorded},
                              {"simulated_only", device.only_simulated}});
  }
  for (const Finding& finding : comparison.findings) {
    all["differences"].push_back({{"device", finding.device},
                                  {"kind", finding.kind},
                                  {"compared", finding.compared},
                                  {"differ", finding.differ},
                                  {"where", finding.segment},
                                  {"time", static_cast<double>(finding.time) / 1e9},
                                  {"question", finding.question},
                                  {"what", finding.difference.what},
                                  {"recorded", finding.difference.recorded},
                                  {"simulated", finding.difference.simulated},
                                  {"after_parting", finding.after_parting}});
  }
  for (const Parting& parting : comparison.partings) {
    all["partings"].push_back({{"where", parting.segment},
                               {"more", parting.more_segments},
                               {"recorded_only", parting.recorded},
                               {"simulated_only", parting.simulated},
                               {"first_recorded", parting.first_recorded},
                               {"first_simulated", parting.first_simulated},
                               {"because", parting.because},
                               {"because_device", parting.because_device}});
  }
  for (const KnownNode& node : report.untouched) {
    nlohmann::ordered_json requests = nlohmann::ordered_json::array();
    for (const KnownNode::Request& request : node.requests)
      requests.push_back({{"request", request_text(request.number)}, {"meaning", request.meaning}});
    all["untouched"].push_back({{"node", node.path}, {"used", node.is_used}, {"requests", requests}});
  }
  return all.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace boardrec
