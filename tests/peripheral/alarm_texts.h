// What the alarm tests say about a port.
#pragma once

#include <array>
#include <string>
#include <vector>

/// The texts of one port. Those of an open port belong to an input that never follows its output, those of a
/// shorted one to an input that is held active.
struct PortTexts {
  unsigned mask;
  const char* port;
  const char* open_console;
  const char* open_description;
  const char* short_console;
  const char* short_description;

  std::string success() const { return std::string(port) + "口报警输入测试成功"; }
};

// clang-format off
/// Boards with five inputs: T4 and SYNC hang on the third output, so their texts name F3. The mask of SYNC is
/// 16; any other mask that belongs to no port gives its texts too.
inline constexpr std::array<PortTexts, 5> kFivePorts = {{
    {1, "T1",
     "T1口不通或F1+、F1-短路!!!", "测试失败:T1不通或(F1+F1-)短路!!!",
     "F1+、F1-短路或T1、T2短路或T1、T3短路", "测试失败:(F1+F1-)或(T1T2)或(T1T3)短路!!!"},
    {2, "T2",
     "T2口不通或F2+、F2-短路!!!", "测试失败:T2不通或(F2+F2-)短路!!!",
     "F2+、F2-短路或T1、T2短路或T2、T4短路", "测试失败:(F2+F2-)或(T1T2)或(T2T4)短路!!!"},
    {4, "T3",
     "T3口不通或F3+、F3-短路!!!", "测试失败:T3不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!"},
    {8, "T4",
     "T4口不通或F3+、F3-短路!!!", "测试失败:T4不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!"},
    {16, "SYNC",
     "SYNC口不通或F3+、F3-短路!!!", "测试失败:SYNC不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路SYNC、GND短路",
     "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!"},
}};

/// Boards with eight inputs. The console text of a shorted SYNC has no line end; that of an open one has.
inline constexpr std::array<PortTexts, 8> kEightPorts = {{
    kFivePorts[0],
    kFivePorts[1],
    {4, "T3", kFivePorts[2].open_console, kFivePorts[2].open_description,
     "F3+、F3-短路或T1、T3短路或T3、T4短路或T3、T5短路", "测试失败:(F3+F3-)或(T1T3)或(T3T4)或(T3T5)短路!!!"},
    {8, "T4",
     "T4口不通或F4+、F4-短路!!!", "测试失败:T4不通或(F4+F4-)短路!!!",
     "F4+、F4-短路或T2、T4短路或T3、T4短路或T4、T6短路", "测试失败:(F4+F4-)或(T2T4)或(T3T4)或(T4T6)短路!!!"},
    {16, "T5",
     "T5口不通或F5+、F5-短路!!!", "测试失败:T5不通或(F5+F5-)短路!!!",
     "F5+、F5-短路或T3、T5短路或T5、T6短路或T5、T7短路", "测试失败:(F5+F5-)或(T3T5)或(T5T6)或(T5T7)短路!!!"},
    {32, "T6",
     "T6口不通或F6+、F6-短路!!!", "测试失败:T6不通或(F6+F6-)短路!!!",
     "F6+、F6-短路或T4、T6短路或T5、T6短路", "测试失败:(F6+F6-)或(T4T6)或(T5T6)短路!!!"},
    {64, "T7",
     "T7口不通或F7+、F7-短路!!!", "测试失败:T7不通或(F7+F7-)短路!!!",
     "F7+、F7-短路或T5、T7短路或T7、SYNC短路", "测试失败:(F7+F7-)或(T5T7)或(T7、SYNC)短路!!!"},
    {128, "SYNC", "SYNC不通", "测试失败:SYNC不通!!!", "SYNC口短路", "测试失败:SYNC口短路!!!"},
}};
// clang-format on
