# 32-bit ARM, soft float (Debian "armel": ARMv5TE and later), with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)

set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # how GCC 6 passed parameters concerns nobody here

# Programs come from the PC, headers and libraries from the compiler's own folder.
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
