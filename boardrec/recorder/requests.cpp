#include "boardrec/recorder/requests.h"

#include <cstring>

namespace boardrec {
namespace {

/// The kinds of node; a name that ends with # stands for all that go on with a number.
constexpr const char* kNodes[] = {
    "",           "/dev/qznio",  "/dev/fpga",  "/dev/tg",     "/dev/tcs",   "/dev/led",  "/dev/rtc",
    "/dev/alarm", "/dev/qznitc", "/dev/motor", "/dev/motor1", "/dev/uart#", "/dev/mtd#", "/dev/ttyS#",
};

enum Kind : std::uint8_t { any, io, fpga, tg, tcs, led, rtc, alarm, itc, motor, motor1, uart, mtd, serial };

struct Row {
  Kind kind;
  std::uint32_t request;
  Handed handed;
};

constexpr Handed bytes(std::uint32_t size) {
  return {Handed::What::record, size};
}
constexpr Handed kNumber{Handed::What::number, 0};
constexpr Handed kNothing{Handed::What::nothing, 0};

constexpr Row kRows[] = {
    {io, 0x80044801, bytes(256)},  // the boot block, whatever the number says
    {io, 0x40044701, bytes(8)},
    {io, 0x40044702, bytes(8)},
    {io, 0x80044703, bytes(8)},
    {io, 0x40044704, bytes(8)},
    {io, 0x8004680B, bytes(8)},
    {io, 0x4004680D, bytes(8)},
    {io, 0x4004680E, bytes(8)},
    {io, 0x104, bytes(8)},
    {io, 0x40046831, kNumber},
    {io, 0x40046832, kNumber},
    {io, 0x40044D02, bytes(12)},
    {io, 0x40044D0E, bytes(4)},
    {fpga, 0x40044603, bytes(8)},
    {fpga, 0x80044602, bytes(8)},
    {tg, 0x40045402, bytes(8)},
    {tcs, 0x40045402, bytes(8)},
    {tcs, 0x80045401, bytes(8)},
    {led, 0x40044C01, bytes(8)},
    {rtc, 0x80247009, bytes(36)},
    {alarm, 0x40044101, bytes(12)},
    {alarm, 0x80044102, bytes(12)},
    {itc, 0x888B, bytes(4)},
    {motor, 0x40044301, bytes(644)},
    {motor, 0x40044901, kNumber},
    {motor, 0x40044902, kNumber},
    {motor, 0x40046901, kNumber},
    {motor, 0x40044201, kNumber},
    {motor, 0x40044202, kNumber},
    {motor1, 0x40044301, bytes(644)},
    {motor1, 0x40046901, kNumber},
    {motor1, 0x40046902, kNumber},
    {motor1, 0x40046903, kNumber},
    {uart, 0x40045501, bytes(20)},
    {uart, 0x80045502, bytes(4)},
    {uart, 0x5503, kNothing},
    {mtd, 0x40084D02, bytes(8)},
    // Linux's own, of terminals and network interfaces: the part of an interface's that all machines share
    {any, 0x5401, bytes(36)},
    {any, 0x5402, bytes(36)},
    {any, 0x5403, bytes(36)},
    {any, 0x5404, bytes(36)},
    {any, 0x5409, kNumber},
    {any, 0x540B, kNumber},
    {any, 0x541B, bytes(4)},
    {any, 0x541D, kNothing},
    {any, 0x8915, bytes(32)},
};

bool matches(const char* pattern, const char* path) {
  const std::size_t size = std::strlen(pattern);
  if (size == 0 || pattern[size - 1] != '#') return size != 0 && std::strcmp(pattern, path) == 0;
  if (std::strncmp(pattern, path, size - 1) != 0) return false;
  const char* digit = path + size - 1;
  if (*digit == '\0') return false;
  while (*digit >= '0' && *digit <= '9') ++digit;
  return *digit == '\0';
}

}  // namespace

std::uint8_t node_kind(const char* path) {
  std::uint8_t kind = 0;
  for (const char* pattern : kNodes) {
    if (matches(pattern, path)) return kind;
    ++kind;
  }
  return any;
}

Handed handed_over(std::uint8_t kind, std::uint32_t request) {
  for (const Row& row : kRows) {
    if ((row.kind == kind || row.kind == any) && row.request == request) return row.handed;
  }
  return {Handed::What::unknown, (request >> 16) & 0x3FFFU};
}

}  // namespace boardrec
