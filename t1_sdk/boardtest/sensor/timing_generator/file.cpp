// How the parameters of a model are found in the file, which looks like this:
//
//   [QN-5RX6474]                        a section
//   [TF2V1][TS3V1][VER1.0][2]           a block: FPGA and sensor (type and version), its own version, pairs
//   {0x10 0x1 0}                        register, value, delay in microseconds
//   {0x11 0x22 100}
#include "t1_sdk/boardtest/sensor/timing_generator/file.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/platform/models.h"
#include "t1_sdk/util/text.h"

using namespace boardtest;

namespace {

/// A line is read 63 characters at a time; the rest of a longer one counts as the next.
struct Line {
  char text[64];
  bool is_empty() const { return text[std::strspn(text, "\r\n")] == '\0'; }
};

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool read_line(const File& file, Line& line) {
  return std::fgets(line.text, sizeof line.text, file.get()) != nullptr;
}

/// Whether the line begins with this name in brackets; the end of a text closes them too.
bool names(const Line& line, std::string_view model) {
  if (line.text[0] != '[') return false;
  const char* const name = line.text + 1;
  return std::string_view(name, std::strcspn(name, "]")) == model;
}

bool find_section(const File& file, const char* model) {
  Line line;
  while (read_line(file, line)) {
    if (names(line, model)) return true;
  }
  return false;
}

/// A block's header: what it is for, its version, its number of pairs.
struct BlockHeader {
  long long numbers[7];

  bool is_for(const boot_parms& board) const {
    return numbers[0] == board.FPGAType && numbers[1] == board.FPGAVersion &&
           numbers[2] == board.sensorType && numbers[3] == board.sensorVersion;
  }
  std::uint32_t version() const {
    return static_cast<std::uint32_t>(numbers[4]) << 16 | static_cast<std::uint32_t>(numbers[5]);
  }
  long long pairs() const { return numbers[6]; }
};

/// Looks for the board's block up to the next section. A section named with an underscore is not noticed.
bool find_block(const File& file, const boot_parms& board, BlockHeader& header) {
  Line line;
  while (read_line(file, line)) {
    if (std::strstr(line.text, "QN-5RX") != nullptr) return false;
    if (scan_numbers(line.text, "[TF#V#][TS#V#][VER#.#][#", header.numbers) && header.is_for(board))
      return true;
  }
  return false;
}

/// False when the file ends or an empty line comes first.
bool read_pairs(const File& file, tg_data_cen& tg) {
  for (std::uint32_t i = 0; i < tg.tgNum; ++i) {
    Line line;
    if (!read_line(file, line) || line.is_empty()) return false;
    long long numbers[3];
    if (!scan_numbers(line.text, "{0x$ 0x$ #", numbers)) continue;
    tg.tgPairs[i] = {static_cast<std::uint32_t>(numbers[0]), static_cast<std::uint32_t>(numbers[1]),
                     static_cast<std::uint32_t>(numbers[2])};
  }
  return true;
}

}  // namespace

int getTgFromFile(tg_data_cen* tg) {
  if (tg == nullptr) return -1;
  *tg = {};
  boot_parms board;
  if (!read_boot_parms(board)) return -1;
  const char* const model = get_model_name(get_model_index(static_cast<unsigned>(getDevType(board))));
  if (model == nullptr) return -1;

  const File file(std::fopen("/devinfo/TG.bin", "r"), &std::fclose);
  if (file == nullptr) {
    std::puts("设置失败: devinfo目录下没有文件:TG.bin");
    return -2;
  }
  if (!find_section(file, model)) {
    std::printf("设置失败: TG.bin中缺少%s的配置.\n", model);
    return -3;
  }
  BlockHeader header;
  if (!find_block(file, board, header)) {
    std::printf("设置失败: TG.bin中缺少版本[T%dV%d][TS%dV%d]的配置.\n", board.FPGAType, board.FPGAVersion,
                board.sensorType, board.sensorVersion);
    return -4;
  }
  tg->fpgaTgVer = header.version();
  if (header.pairs() < 0 || header.pairs() > kMostTgPairs) {
    std::printf("设置失败: TG参数个数%d超过最大值128.\n", static_cast<int>(header.pairs()));
    return -6;
  }
  tg->magic = kRecordMagic;
  tg->tgNum = static_cast<std::uint32_t>(header.pairs());
  if (!read_pairs(file, *tg)) {
    std::puts("请检查TG配置文件格式.");
    return -7;
  }
  tg->cs = tg_checksum(*tg);
  return static_cast<int>(tg->tgNum);
}
