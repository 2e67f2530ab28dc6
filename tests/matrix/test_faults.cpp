// Tables of fault words by device, and of calls in words.
#include "tests/matrix/test_faults.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

namespace {

/// Fault words of a device, and what it does then. $ stands for what the device is called in the words.
struct DeviceFault {
  std::string_view device;
  std::string_view text;
  std::string_view subject, effect;
};

// clang-format off
const DeviceFault kDeviceFaults[] = {
    {"clock", "rtc stopped", "the clock", "stands still"},
    {"clock", "rtc seconds 0 2 4 6 8 10", "the clock", "runs twice as fast"},
    {"clock", "rtc seconds 0 1 2 4 5 6", "the clock", "runs a fifth too fast"},
    {"clock", "rtc seconds 0 0 1 2 3 4", "the clock", "runs a fifth too slow"},
    {"clock", "rtc seconds 0 40 7 7 59 5", "the clock", "jumps between the first reading and the last"},
    {"sensor", "sensors none", "the sensor", "is not there"},
    {"sensor", "sensor 1 unreadable", "the sensor", "cannot be read"},
    {"sensor", "sensor 1 directory", "the sensor", "is a folder"},
    {"sensor", "sensor 1 text -40000", "the sensor", "tells -40 degrees"},
    {"sensor", "sensor 1 text 150000", "the sensor", "tells 150 degrees"},
    {"sensor", "sensor 1 text broken", "the sensor", "tells no number"},
    {"filter motor", "motor rejects move 1+", "the filter's motor", "rejects every move"},
    {"filter motor", "motor rejects move 3", "the filter's motor", "rejects one move"},
    {"focus motor", "focus motor stuck", "the focus motor", "stands still"},
    {"focus motor", "focus motor rejects step 1+", "the focus motor", "rejects every step"},
    {"focus motor", "limit switch never", "the limit switch", "never closes"},
    {"focus motor", "limit switch always", "the limit switch", "is always closed"},
    {"stepped motor", "home switch never", "the home switch", "never closes"},
    {"stepped motor", "gpio 26 stuck high", "the home switch", "is always closed"},
    {"brightness", "fpga 0xb0 stuck 0", "the image sensor", "sees nothing"},
    {"FPGA register", "fpga $ stuck 0", "an FPGA register", "keeps no value"},
    {"front-end register", "afe $ stuck 0", "a front-end register", "keeps no value"},
    {"port", "uart $ dead", "a port", "hears nothing"},
    {"port", "uart $ driver dead", "a port", "sends nothing although its driver takes the bytes"},
    {"pair of ports", "rs485 $ open", "a pair of wires", "is cut"},
    {"sender", "rs485 $ flips 3", "a byte", "arrives inverted"},
    {"sender", "rs485 $ loses 3", "a byte", "is lost"},
    {"partner", "rs485 1 partner open", "what the board sends", "does not arrive"},
    {"partner", "rs485 1 flips 3", "what the board sends", "arrives with a wrong byte"},
    {"partner", "rs485 1 loses 3", "what the board sends", "loses a byte"},
    {"partner", "rs485 partner 1 open", "what the partner sends", "does not arrive"},
    {"partner", "rs485 partner flips 3", "what the partner sends", "arrives with a wrong byte"},
    {"partner", "rs485 partner loses 3", "what the partner sends", "loses a byte"},
    {"partner", "rs485 partner silent", "the partner", "sends nothing"},
    {"partner", "rs485 partner wrong", "the partner", "sends a wrong byte"},
    {"application", "app refused", "the main application", "is not there"},
    {"application", "app slow 5", "the main application", "answers 5 s late"},
    {"application", "app short", "the main application", "answers with 8 bytes"},
    {"application", "app closes", "the main application", "closes without an answer"},
    {"application", "app silent", "the main application", "never answers"},
    {"medium", "medium $ absent", "the medium", "is not there"},
    {"medium", "medium $ read-only", "the medium", "is read-only"},
    {"medium", "medium $ full", "the medium", "is full"},
    {"medium", "medium $ wrong 0 0x100", "the medium", "gives back wrong bytes"},
    {"medium", "medium $ short 1000", "the medium", "gives back too few bytes"},
    {"medium", "medium $ slow 1000", "the medium", "takes a second a block"},
    {"medium", "medium $ pulled write 3", "the medium", "is pulled out in the third write"},
    {"medium", "medium $ pulled read 3", "the medium", "is pulled out in the third read"},
    {"erased flash", "flash cut erase", "the power", "fails when the flash is erased"},
    {"written flash", "flash cut 100", "the power", "fails when the flash is written"},
    {"written eMMC", "emmc cut 100", "the power", "fails when the eMMC is written"},
    {"record", "record $ none", "the record on the eMMC", "was never written"},
    {"record", "record $ magic", "the record on the eMMC", "has a wrong magic number"},
    {"record", "record $ checksum", "the record on the eMMC", "has a wrong checksum"},
    {"alarm relays", "ioctl /dev/qznio #50+ EIO", "the I/O driver", "stops working in the middle of the test"},
};

/// What calls are for; the first row that fits counts.
struct Purpose {
  std::string_view call;  ///< how call, node and request begin
  std::string_view words;
};

const Purpose kPurposes[] = {
    {"ioctl /dev/qznio 0x80044801", "asking which board this is"},
    {"ioctl /dev/qznio 0x40044701", "making a line an input"},
    {"ioctl /dev/qznio 0x40044702", "making a line an output"},
    {"ioctl /dev/qznio 0x80044703", "reading an input line"},
    {"ioctl /dev/qznio 0x40044704", "setting an output line"},
    {"ioctl /dev/qznio 0x104", "switching the RS485 transmitter on"},
    {"ioctl /dev/qznio 0x4004680e", "switching the RS485 transmitter on"},
    {"ioctl /dev/qznio 0x40044d02", "setting the PWM channel"},
    {"ioctl /dev/qznio 0x40044d0e", "applying the substrate voltage"},
    {"ioctl /dev/fpga 0x40044603", "writing FPGA registers"},
    {"ioctl /dev/fpga 0x80044602", "reading FPGA registers"},
    {"ioctl /dev/tg 0x40045402", "writing front-end registers"},
    {"ioctl /dev/led 0x40044c01", "switching the LED"},
    {"ioctl /dev/rtc 0x80247009", "reading the clock"},
    {"ioctl /dev/alarm 0x40044101", "setting alarm outputs"},
    {"ioctl /dev/alarm 0x80044102", "reading alarm outputs back"},
    {"ioctl /dev/qznitc 0x888b", "switching I/O test control"},
    {"ioctl /dev/motor 0x40044301", "configuring the motor driver"},
    {"ioctl /dev/motor1 0x40044301", "configuring the iris driver"},
    {"ioctl /dev/motor 0x40044901", "moving the filter"},
    {"ioctl /dev/motor 0x40044902", "moving the filter back"},
    {"ioctl /dev/motor 0x40046901", "moving the iris"},
    {"ioctl /dev/motor1 0x40046901", "moving the iris"},
    {"ioctl /dev/motor 0x40044201", "stepping the focus motor to its limit"},
    {"ioctl /dev/motor 0x40044202", "stepping the focus motor from its limit"},
    {"ioctl /dev/uartN 0x40045501", "configuring a port"},
    {"ioctl /dev/uartN 0x80045502", "asking how many bytes have come"},
    {"ioctl /dev/uartN 0x5503", "emptying a receiver"},
    {"ioctl /dev/mtd4 0x40084d02", "erasing the flash"},
    {"open /mnt", "creating the test file"},
    {"open ", "opening"},
    {"read /mnt", "reading the file back"},
    {"write /mnt", "writing the file"},
    {"lseek /mnt", "going back to the file's beginning"},
    {"read /proc/debug", "reading the sensor"},
    {"stat /proc/debug", "looking for the sensor"},
    {"read /devinfo", "reading the file of parameters"},
    {"read /dev/mtd4", "reading the flash"},
    {"write /dev/mtd4", "writing the flash"},
    {"lseek /dev/mtd4", "going to the record on the flash"},
    {"read /dev/mmcblk0p7", "reading the eMMC"},
    {"write /dev/mmcblk0p7", "writing the eMMC"},
    {"lseek /dev/mmcblk0p7", "going to the record on the eMMC"},
    {"read /dev/uart", "reading what a port has heard"},
    {"write /dev/uart", "writing to a port"},
    {"write /dev/ttyS1", "writing to the line"},
    {"tcgetattr", "setting the line up"},
    {"tcsetattr", "setting the line up"},
    {"system", "the shell command"},
    {"mount", "mounting"},
    {"umount", "unmounting"},
    {"statfs", "asking for the free space"},
    {"mkdir", "making the folder"},
    {"rmdir", "removing the folder"},
    {"unlink", "removing an old test file"},
};
// clang-format on

// Calls whose faults name what they are made on, and calls whose faults do not.
constexpr std::string_view kOnNodes[] = {"open", "read", "write", "lseek", "stat", "access", "ioctl"};
constexpr std::string_view kOthers[] = {"system", "mount",  "umount",    "statfs",   "mkdir",
                                        "rmdir",  "unlink", "tcgetattr", "tcsetattr"};

template <typename T, std::size_t n>
bool is_one_of(const T (&all)[n], std::string_view one) {
  return std::ranges::find(all, one) != std::end(all);
}

std::string hexadecimal(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(number));
  return text;
}

std::string replaced(std::string text, std::string_view mark, std::string_view by) {
  const std::size_t found = text.find(mark);
  return found == std::string::npos ? text : text.replace(found, mark.size(), by);
}

// ---- devices ----------------------------------------------------------------------------------------------

constexpr std::string_view kPort = "/dev/uart";  // and a number
constexpr std::uint32_t kBoot = 0x80044801;      // of /dev/qznio: the boot block, which tells the type
constexpr std::uint32_t kSetFpga = 0x40044603;   // of /dev/fpga
constexpr std::uint32_t kStepperEnable = 110;    // a line of /dev/qznio
constexpr std::uint32_t kRelay = 79;             // another, of RKD boards

bool is_port(std::string_view node) {
  return node.starts_with(kPort);
}

/// The devices that a test uses, and what each is called in fault words.
using Devices = std::multimap<std::string_view, std::string>;

/// A call that shows which device a test uses.
struct DeviceCall {
  std::string_view call, node;
  std::uint32_t request;  ///< of an ioctl, else 0
  std::string_view device;
};

const DeviceCall kDeviceCalls[] = {{"open", "/dev/rtc", 0, "clock"},
                                   {"ioctl", "/dev/motor", 0x40044901, "filter motor"},
                                   {"ioctl", "/dev/motor", 0x40044201, "focus motor"},
                                   {"ioctl", "/dev/fpga", 0x80044602, "brightness"},
                                   {"ioctl", "/dev/mtd4", 0x40084d02, "erased flash"},
                                   {"write", "/dev/mtd4", 0, "written flash"},
                                   {"write", "/dev/mmcblk0p7", 0, "written eMMC"}};

const std::pair<long, const char*> kRecords[] = {
    {0, "dead-pixels"}, {0x10000, "flat-field"}, {0x20000, "timing"}, {0x30000, "vsub"}};

void add_once(Devices& devices, std::string_view device, const std::string& called) {
  const auto [from, to] = devices.equal_range(device);
  if (std::none_of(from, to, [&](const auto& entry) { return entry.second == called; }))
    devices.emplace(device, called);
}

void add_devices_of(Devices& devices, const boardsim::Call& call) {
  for (const DeviceCall& row : kDeviceCalls) {
    if (call.name == row.call && call.node == row.node && call.request == row.request)
      add_once(devices, row.device, "");
  }
  if (call.node.starts_with("/proc/debug")) add_once(devices, "sensor", "");
  if (is_port(call.node)) add_once(devices, "port", call.node.substr(kPort.size()));
  if (call.name == "connect") add_once(devices, "application", "");
  if (call.name == "mount") add_once(devices, "medium", call.node.substr(0, call.node.find(' ')));
}

/// Devices that hang on registers and lines. What a jig is wired to has faults of its own.
void add_devices_on_lines(Devices& devices, const boardsim::Call& call, bool has_jig) {
  if (call.name != "ioctl" || call.request == kBoot || call.record.empty()) return;
  const std::string address = hexadecimal(call.record[0]);
  if (call.node == "/dev/fpga" && call.request == kSetFpga && !has_jig)
    add_once(devices, "FPGA register", address);
  if (call.node == "/dev/tg") add_once(devices, "front-end register", address);
  if (call.node == "/dev/qznio" && call.record[0] == kStepperEnable) add_once(devices, "stepped motor", "");
  if (call.node == "/dev/qznio" && call.record[0] == kRelay) add_once(devices, "alarm relays", "");
}

void add_records(Devices& devices, const std::vector<boardsim::Call>& calls) {
  for (std::size_t i = 1; i < calls.size(); ++i) {
    if (calls[i].name != "read" || calls[i].node != "/dev/mmcblk0p7") continue;
    for (const auto& [position, record] : kRecords) {
      if (calls[i - 1].name == "lseek" && calls[i - 1].result == position)
        add_once(devices, "record", record);
    }
  }
}

void add_wires(Devices& devices, std::string_view fixture) {
  if (fixture == "partner") devices.emplace("partner", "");
  if (!fixture.starts_with("ring")) return;
  const char last = fixture.back();  // "ring3": three ports
  for (char port = '1'; port <= last; ++port) {
    const char next = port == last ? '1' : static_cast<char>(port + 1);
    devices.emplace("pair of ports", std::string{port, ' ', next});
    devices.emplace("sender", std::string{port});
  }
}

/// What stands in a fault for all devices of a kind of which a board has several alike; empty for others.
std::string_view name_of_any(std::string_view device) {
  if (device == "port" || device == "sender") return "N";
  if (device == "pair of ports") return "N M";
  return device == "medium" ? "NODE" : "";
}

void add_device_faults(std::vector<TestFault>& faults, const Devices& devices) {
  for (const DeviceFault& fault : kDeviceFaults) {
    const auto [from, to] = devices.equal_range(fault.device);
    for (auto entry = from; entry != to; ++entry) {
      const std::string_view any = name_of_any(fault.device);
      const std::string text(fault.text);
      faults.push_back({replaced(text, "$", entry->second),
                        replaced(text, "$", any.empty() ? entry->second : any), std::string(fault.subject),
                        std::string(fault.effect), FaultKind::device});
    }
  }
}

// ---- calls ------------------------------------------------------------------------------------------------

/// Calls of a test that have name, node and request in common.
struct LikeCalls {
  std::string target;  ///< as faults name them
  std::string node{};  ///< what they are made on
  std::uint32_t request = 0;
  unsigned count = 0;        ///< how many there are
  std::set<long> results{};  ///< what they return
};

/// Whether a node is opened to ask which board this is, and for nothing else.
bool opens_for_query(const std::vector<boardsim::Call>& calls, std::size_t place) {
  return calls[place].name == "open" && place + 2 < calls.size() && calls[place + 1].request == kBoot &&
         calls[place + 2].name == "close";
}

std::vector<LikeCalls> like_calls(const std::vector<boardsim::Call>& calls) {
  std::vector<LikeCalls> all;
  for (std::size_t place = 0; place < calls.size(); ++place) {
    const boardsim::Call& call = calls[place];
    const std::string name = call.name == "fopen" ? "open" : call.name;
    const bool on_node = is_one_of(kOnNodes, name);
    if ((!on_node && !is_one_of(kOthers, name)) || opens_for_query(calls, place)) continue;
    std::string target = on_node ? name + " " + call.node : name;
    if (call.request != 0) target += " " + hexadecimal(call.request);
    auto known = std::ranges::find(all, target, &LikeCalls::target);
    if (known == all.end()) known = all.insert(known, {target, call.node, call.request});
    ++known->count;
    known->results.insert(call.result);
  }
  return all;
}

/// With N for the number of a serial port.
std::string with_n(std::string text) {
  const std::size_t found = text.find(kPort);
  if (found != std::string::npos) text[found + kPort.size()] = 'N';
  return text;
}

std::string in_words(const LikeCalls& calls) {
  const std::string target = with_n(calls.target);
  const auto* purpose =
      std::ranges::find_if(kPurposes, [&](const Purpose& row) { return target.starts_with(row.call); });
  if (purpose == std::end(kPurposes)) throw std::invalid_argument(calls.target + " has no name in words");
  const std::string words(purpose->words);
  return words == "opening" ? "opening `" + with_n(calls.node) + "`" : words;
}

void add_call_faults(std::vector<TestFault>& faults, const LikeCalls& calls) {
  const std::string words = in_words(calls);
  const auto add = [&](const std::string& behind, const char* effect, FaultKind kind) {
    faults.push_back({calls.target + behind, with_n(calls.target) + behind, words, effect, kind});
  };
  if (calls.request == kBoot) return add(" EIO", "fails", FaultKind::query);
  const bool takes_result = calls.target.starts_with("ioctl") || calls.target.starts_with("write") ||
                            calls.target.starts_with("lseek");
  if (takes_result && calls.results.size() == 1)
    add(" result " + std::to_string(*calls.results.begin()), "has no effect", FaultKind::call);
  add(" EIO", "fails", FaultKind::call);
  if (calls.count > 1) add(" #2+ EIO", "fails from the second time on", FaultKind::later);
}

}  // namespace

std::vector<TestFault> test_faults(const std::vector<boardsim::Call>& calls, std::string_view fixture,
                                   bool has_jig) {
  Devices devices;
  for (const boardsim::Call& call : calls) {
    add_devices_of(devices, call);
    add_devices_on_lines(devices, call, has_jig);
  }
  add_records(devices, calls);
  if (devices.contains("port")) add_wires(devices, fixture);
  std::vector<TestFault> faults;
  add_device_faults(faults, devices);
  for (const LikeCalls& alike : like_calls(calls)) add_call_faults(faults, alike);
  return faults;
}
