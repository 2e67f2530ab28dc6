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

# The compiler looks through its memory for what it can use again less often: a twentieth less time, a tenth more memory.
if(BT_PC)
  target_compile_options(bt_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-expand=100 --param=ggc-min-heapsize=262144>)
endif()

# The hardening that Debian's own packages are built with. Fortify needs an optimising build.
target_compile_options(bt_options INTERFACE
  -fstack-protector-strong -fstack-clash-protection)
if(NOT BT_SANITIZE)
  target_compile_options(bt_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
target_link_options(bt_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)

set(BT_LIBRARIES "" CACHE PATH "Where the programs find the C library and all others, for an emulator of their processor")
if(BT_LIBRARIES)
  target_include_directories(bt_options SYSTEM INTERFACE ${BT_LIBRARIES}/usr/include/arm-linux-gnueabihf)
  foreach(folder lib usr/lib)
    target_link_options(bt_options INTERFACE -Wl,-rpath,${BT_LIBRARIES}/${folder}/arm-linux-gnueabihf)
  endforeach()
  target_link_options(bt_options INTERFACE
    -Wl,--disable-new-dtags -Wl,--dynamic-linker=${BT_LIBRARIES}/lib/ld-linux-armhf.so.3)
endif()

include(cmake/unreached.cmake)
option(BT_STATIC "A program that needs no library on the board, stripped and as small as it gets" OFF)
if(BT_STATIC)
  set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  target_compile_options(bt_options INTERFACE -fno-pie -ffunction-sections -fdata-sections)
  # What prints the name of an exception that nobody caught brings a demangler along: ending is enough.
  target_link_options(bt_options INTERFACE -s -Wl,--defsym=_ZN9__gnu_cxx27__verbose_terminate_handlerEv=abort)
  target_link_libraries(bt_options INTERFACE bt::unreached)
else()
  target_link_options(bt_options INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
endif()

if(BT_SANITIZE)
  target_compile_options(bt_options INTERFACE -fsanitize=${BT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(bt_options INTERFACE -fsanitize=${BT_SANITIZE})
  # Sanitizers blow these two up with false positives of GCC 12's flow analysis.
  target_compile_options(bt_options INTERFACE -Wno-null-dereference -Wno-maybe-uninitialized)
  # The thread sanitizer knows no fences; those of Asio stand beside locks, which it knows.
  target_compile_options(bt_options INTERFACE -Wno-tsan)
endif()

# What is installed elsewhere says nothing of the folder that it was compiled in: two folders give the same bytes.
option(BT_OPTIMISED "What runs on the PC is optimised too, as it is for packages and benchmarks" ${BT_BENCH})
if(BT_OPTIMISED OR NOT BT_PC)
  target_compile_options(bt_options INTERFACE -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
endif()

# bt_count(TARGET ...): a build for coverage counts which of their lines and branches run. Several processes add to the
# same counts.
if(BT_COVERAGE)
  target_link_options(bt_options INTERFACE --coverage)
endif()
function(bt_count)
  if(BT_COVERAGE)
    foreach(target ${ARGN})
      target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    endforeach()
  endif()
endfunction()

# bt_compile_quickly(TARGET ...): what runs on a PC and whose speed nobody notices is not optimised: half of what the
# compiler does for it is done for nothing. Benchmarks run behind it, and want it out of the way.
set(quickly -O0)
if(BT_OPTIMISED)
  set(quickly -w) # warnings are the other builds' business
endif()
function(bt_compile_quickly)
  foreach(target ${ARGN})
    target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:${quickly}>)
  endforeach()
endfunction()
