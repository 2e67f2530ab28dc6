// What people ask of the line: where a scan goes, who may stop what, and what everybody sees.
#include "station/line/line.h"

#include "station/line/line_state.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestScan = 256;  // bytes

}  // namespace

std::string_view slot_state_name(SlotState state) {
  switch (state) {
    case SlotState::idle:
      return "idle";
    case SlotState::waiting:
      return "waiting";
    case SlotState::testing:
      return "testing";
    case SlotState::done:
      return "done";
    case SlotState::locked:
      break;
  }
  return "locked";
}

Line::Line(const LineFile& file, Records& records, std::function<void()> changed, const Clock& clock,
           std::function<void(const std::string&)> log)
    : state_(std::make_unique<State>(file, records, std::move(changed), clock, std::move(log))) {}

Line::~Line() {
  state_->shut_down();
}

LineView Line::view() const {
  return state_->view();
}

ScanTaken Line::scan(std::string_view text, const std::optional<std::string>& slot,
                     const std::string& operator_name) {
  const std::string word(without_blanks_around(text));
  if (word.empty()) throw LineRefusal(LineRefusal::Why::malformed, "the scan is empty");
  if (word.size() > kLongestScan) throw LineRefusal(LineRefusal::Why::malformed, "the scan is too long");
  if (word.starts_with("slot:")) return state_->name_slot(word.substr(5), word, operator_name);
  if (word == "answer:yes" || word == "answer:no")
    return state_->scan_answer(word == "answer:yes", operator_name);
  return state_->scan_unit(word, slot, operator_name);
}

void Line::stop(std::string_view slot, const std::string& operator_name) {
  state_->stop(slot, operator_name);
}

void Line::acknowledge(std::string_view slot, const std::string& operator_name) {
  state_->acknowledge(slot, operator_name);
}

void Line::answer(std::string_view slot, bool yes, const std::string& operator_name) {
  state_->answer(slot, yes, operator_name);
}

void Line::lock(std::string_view slot, const std::string& reason, const std::string& operator_name) {
  state_->lock(slot, reason, operator_name);
}

void Line::unlock(std::string_view slot, const std::string& reason, const std::string& operator_name) {
  state_->unlock(slot, reason, operator_name);
}

void Line::release(const std::string& serial, const std::string& reason, const std::string& operator_name) {
  state_->release(serial, reason, operator_name);
}

void Line::note(std::string_view kind, std::string_view operator_name, std::string_view detail) {
  state_->store([&](Records& records) { records.add_event(kind, {}, {}, operator_name, detail); });
}

void Line::show_central(const CentralState& state) {
  state_->show_central(state);
}

void Line::show_mqtt(const std::string& state) {
  state_->show_mqtt(state);
}

bool Line::shut_down() {
  return state_->shut_down();
}

}  // namespace t1station
