// Opening a device node.
#pragma once

namespace boardtest {

/// Opens a node read-write. Its descriptor, or -1 after the line "Open %s error.".
int open_node(const char* path);

}  // namespace boardtest
