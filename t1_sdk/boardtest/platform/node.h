// Opening a device node.
#pragma once

namespace boardtest {

/// Opens a node read-write. Its descriptor, or -1 after the line "Open %s error.".
[[nodiscard]] int open_node(const char* path);

/// The node of the general I/O driver.
inline constexpr char kIoNode[] = "/dev/qznio";
/// Opens kIoNode read-write. Its descriptor, or -1 after the line `complaint`; null: without one.
[[nodiscard]] int open_io(const char* complaint = nullptr);
/// The same with the complaint of most tests: the reason on standard error, and the line kNoIo.
[[nodiscard]] int open_io_aloud();
/// What those tests reply then, too.
extern const char kNoIo[];

}  // namespace boardtest
