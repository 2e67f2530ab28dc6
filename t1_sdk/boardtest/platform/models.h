// Model names by device type code: the section keys of the timing-generator file.
#pragma once

namespace boardtest {

/// The model's entry number (0 to 19) for a device type code. -1 for an unknown code, after printing
/// "devType in bootInfo error. devType = 0x%x\n".
[[nodiscard]] int get_model_index(unsigned devType);

/// The name of entry 0 to 19, or null outside. Hyphens, underscores and the leading i are part of the names.
[[nodiscard]] const char* get_model_name(int index);

}  // namespace boardtest
