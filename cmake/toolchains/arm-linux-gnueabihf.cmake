# 32-bit ARM, hard float (Debian "armhf": ARMv7, VFP), with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # how GCC 6 passed parameters concerns nobody here

# Programs come from the PC, headers and libraries from the compiler's own folder; those of the tests from the one that
# scripts/arm-libraries.sh fills.
get_filename_component(arm_libraries ${CMAKE_CURRENT_LIST_DIR}/../../build/arm-libraries ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf ${arm_libraries})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Tests run under user-mode emulation. Their libraries have their place written in (BT_LIBRARIES), so that no path needs
# to lead elsewhere than on the PC.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -E GCONV_PATH=${arm_libraries}/usr/lib/arm-linux-gnueabihf/gconv)
