# Compiler flags of everything that is built here: `bt::options`.
find_package(Threads REQUIRED)

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

# bt_compile_quickly(SOURCE ...): sources whose headers take long to optimise and whose speed nobody notices.
function(bt_compile_quickly)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "-O0;-U_FORTIFY_SOURCE")
  endif()
endfunction()
