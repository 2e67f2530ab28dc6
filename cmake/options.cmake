# Compiler flags of everything that is built here: `bt::options`.
find_package(Threads REQUIRED)
option(BT_FUZZ "Build the fuzz targets as fuzzers (Clang with BT_ANALYSIS); else they replay stored inputs" OFF)

add_library(bt_options INTERFACE)
add_library(bt::options ALIAS bt_options)
target_link_libraries(bt_options INTERFACE Threads::Threads)
target_include_directories(bt_options INTERFACE ${CMAKE_SOURCE_DIR})

target_compile_options(bt_options INTERFACE
  -Werror -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wformat-signedness -Wundef -Wvla
  -Wcast-align -Wcast-qual -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference
  -Wdouble-promotion -Wimplicit-fallthrough -Wmissing-declarations
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>)

# GCC 12 sees overlapping copies in plain string concatenation.
target_compile_options(bt_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# Clang, for the fuzzers, lacks some of the warnings above.
target_compile_options(bt_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-warning-option>)

# The hardening that Debian's own packages are built with. Fortify needs an optimising build.
target_compile_options(bt_options INTERFACE
  -fstack-protector-strong -fstack-clash-protection)
if(NOT BT_SANITIZE)
  target_compile_options(bt_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
target_link_options(bt_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed
  $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)

if(BT_SANITIZE)
  target_compile_options(bt_options INTERFACE -fsanitize=${BT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(bt_options INTERFACE -fsanitize=${BT_SANITIZE})
  # Sanitizers blow these two up with false positives of GCC 12's flow analysis.
  target_compile_options(bt_options INTERFACE -Wno-null-dereference -Wno-maybe-uninitialized)
endif()
if(BT_COVERAGE)
  target_compile_options(bt_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(bt_options INTERFACE --coverage)
endif()

# bt_compile_quickly(TARGET ...): what runs on a PC and whose speed nobody notices is not optimised: half of what the
# compiler does for it is done for nothing.
function(bt_compile_quickly)
  foreach(target ${ARGN})
    target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O0>)
  endforeach()
endfunction()
