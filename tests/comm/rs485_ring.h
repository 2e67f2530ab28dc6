// The boards whose RS485 ports are wired to one another: ports, pairs, codes and texts of each.
#pragma once

#include <array>
#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "tests/comm/rs485_run.h"

namespace rs485 {

/// One pair of ports, and what is said when it fails.
struct Pair {
  unsigned from, to;
  std::array<int, 2> codes;              ///< in the first and in the second group
  std::string error;                     ///< printed
  std::array<std::string, 2> described;  ///< to the station, in either group
};

/// One variant.
struct Ring {
  const char* name;
  void (*run)();
  const char* family;   ///< a board that is given it
  const char* fixture;  ///< what wires its ports so
  unsigned ports;
  std::vector<Pair> pairs;
  std::string opened, completed;
  std::vector<std::string> open_errors;  ///< printed when a port does not open, after the port's own line
  std::string open_error;                ///< to the station then
  bool tells_success = true;             ///< whether each checksum that is right is printed
};

inline void PrintTo(const Ring& ring, std::ostream* out) {
  *out << ring.name;
}

inline const std::vector<Ring>& rings() {
  // clang-format off
  static const std::vector<Ring> all = {
      {"Ex", rs485_test_Ex, "k", "ring5", 5,
       {{1, 2, {3, 8},  "<t1>ERROR RS485_1/RS485_2测试不通过。", {"<t1>ERROR RS485_1/RS485_2测试不通过.", "<t1>ERROR RS485_1/RS485_2测试不通过."}},
        {2, 3, {4, 9},  "<t1>ERROR RS485_2/RS485_3测试不通过。", {"<t1>ERROR RS485_2/RS485_3测试不通过.", "<t1>ERROR RS485_2/RS485_3测试不通过."}},
        {3, 4, {5, 10}, "<t1>ERROR RS485_3/RS485_4测试不通过。", {"<t1>ERROR RS485_3/RS485_4测试不通过.", "<t1>ERROR RS485_3/RS485_4测试不通过."}},
        {4, 5, {6, 11}, "<t1>ERROR RS485_4/RS485_5测试不通过。", {"<t1>ERROR RS485_4/RS485_5测试不通过.", "<t1>ERROR RS485_4/RS485_5测试不通过."}},
        {5, 1, {7, 12}, "<t1>ERROR RS485_1/RS485_5测试不通过。", {"<t1>ERROR RS485_1/RS485_5测试不通过.", "<t1>ERROR RS485_1/RS485_5测试不通过."}}},
       "打开五个485口成功。",
       "<t1>RS485测试完成，RS485_1、RS485_2、RS485_3、RS485_4、RS485_5、测试均通过.",
       {"<t1>打开RS485口错误."}, "<t1>打开RS485口错误."},
      {"u", rs485_test_u, "ma", "ring3", 3,
       {{1, 2, {3, 6}, "<t1>ERROR RS485_1/RS485_2测试不通过。", {"<t1>ERROR RS485_1/RS485_2测试不通过。", "<t1>ERROR RS485_1/RS485_2测试不通过。"}},
        {2, 3, {4, 7}, "<t1>ERROR RS485_2/RS485_3测试不通过。", {"<t1>ERROR RS485_2/RS485_3测试不通过。", "<t1>ERROR RS485_2/RS485_3测试不通过。"}},
        {3, 1, {5, 8}, "<t1>ERROR RS485_3/RS485_5测试不通过。", {"<t1>ERROR RS485_3/RS485_5测试不通过。", "<t1>ERROR RS485_3/RS485_5测试不通过。"}}},
       "打开3个485口成功。",
       "<t1>RS485测试完成，RS485_1、RS485_2、RS485_3测试均通过.",
       {"<t1>打开RS485口错误.", "<t1>打开RS485口错误"}, "<t1>打开RS485口错误"},
      {"rkd537", rs485_test_rkd537, "rkd1", "ring2", 2,
       {{1, 2, {3, 6}, "<t1>ERROR RS485_1/RS485_2测试不通过。", {"<t1>ERROR RS485_1/RS485_2测试不通过。", "<t1>ERROR RS485_1/RS485_2测试不通过。"}},
        {2, 1, {4, 7}, "<t1>ERROR RS485_2/RS485_1测试不通过。", {"<t1>ERROR RS485_2/RS485_1测试不通过。", "<t1>ERROR RS485_2/RS485_1测试不通过。"}}},
       "打开2个485口成功。",
       "<t1>RS485测试完成，RS485_1、RS485_2测试均通过.",
       {"<t1>打开RS485口错误.", "<t1>打开RS485口错误"}, "<t1>打开RS485口错误"},
      {"rkd037", rs485_test_rkd037, "normal", "self", 1,
       {{1, 1, {3, 4}, "<t1>ERROR RS485_1 第一组测试不通过。", {"<t1>ERROR RS485_1 第一组测试不通过测试不通过。", "<t1>ERROR RS485_1 第一组测试不通过"}}},
       "打开485口成功。",
       "<t1>RS485测试完成.",
       {"<t1>打开RS485口错误."}, "<t1>打开RS485_1 口错误", false},
  };
  // clang-format on
  return all;
}

/// Runs one variant and knows what it should print.
class RingRun : public Rs485Run {
 protected:
  static constexpr int kGroups = 2;

  ~RingRun() override { gpiofd = -1; }

  static const std::string& frame(int group) { return group == 0 ? kFrameA : kFrameB; }
  /// Plays the wires: what is sent over each pair arrives at its receiver, for `steps` pairs in all.
  void wire(const Ring& ring, std::size_t steps) {
    for (std::size_t step = 0; step < steps; ++step) {
      hear(ring, step, frame(static_cast<int>(step / ring.pairs.size())));
    }
  }
  /// Plays what arrives in one step, all pairs counted from 0 in both groups.
  void hear(const Ring& ring, std::size_t step, const std::string& bytes) {
    arrive(time_of(step), ring.pairs[step % ring.pairs.size()].to, bytes);
  }
  /// When that arrives. The ports are open by then, and every step ends where the next begins.
  static std::chrono::milliseconds time_of(std::size_t step) {
    return std::chrono::milliseconds(6000 + 10 * static_cast<int>(step));
  }
  static std::size_t steps_of(const Ring& ring) { return ring.pairs.size() * kGroups; }

  /// What is printed up to the opening of the ports.
  static std::string beginning(const Ring& ring) {
    return "rs485_test_" + std::string(ring.name) + "\n" + kAnswered + kWaiting;
  }
  static std::string opened(const Ring& ring) {
    return ring.opened + "\n车检器检测线程已经停止，开始测试.\n";
  }
  static std::string group_start(int group) {
    return group == 0 ? "RS485第一组测试数据[d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75]测试开始.\n"
                      : "RS485第一组测试数据测试结束.\n" + std::string(53, '*') +
                            "\nRS485第二组测试数据[d0 01 02 07 5a a5 d9]测试开始.\n";
  }
  static std::string sent(const Pair& pair, int group) {
    const std::string from = "<" + port(pair.from) + ">";
    return from + "开始发送数据:" + printed(frame(group)) + "\n" + from + "发送完毕\n<" + port(pair.to) +
           ">开始接收数据\n";
  }
  static std::string heard(const Ring& ring, const Pair& pair, const std::string& bytes) {
    const std::string to = "<" + port(pair.to) + ">";
    return to + "完成接收数据:" + printed(bytes) + "\n" +
           (ring.tells_success ? to + "接收的数据校验正确!!!\n" : "");
  }
  /// What is printed by the steps before this one, with the starts of their groups and of its own.
  static std::string exchanges_before(const Ring& ring, std::size_t step) {
    std::string text;
    for (std::size_t i = 0; i < steps_of(ring) && i <= step; ++i) {
      const int group = static_cast<int>(i / ring.pairs.size());
      const Pair& pair = ring.pairs[i % ring.pairs.size()];
      if (i % ring.pairs.size() == 0) text += group_start(group);
      if (i < step) text += sent(pair, group) + heard(ring, pair, frame(group));
    }
    return text;
  }
  static std::string ending(const Ring& ring) {
    return "RS485第二组测试数据测试结束.\n" + ring.completed + "\n";
  }
  static std::string failed(int code) { return "fail num = " + std::to_string(code) + "\n"; }
};

}  // namespace rs485
