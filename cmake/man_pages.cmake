# Manual pages of the programs of the PC side, in man/ of the build's folder, from what they say with --help.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(writer ${CMAKE_SOURCE_DIR}/scripts/man_pages.py)
foreach(program t1station boardsim boardrec)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/man/${program}.1 # and those of its commands
    COMMAND ${Python3_EXECUTABLE} ${writer} $<TARGET_FILE:${program}> ${CMAKE_BINARY_DIR}/man
    DEPENDS ${program} ${writer} VERBATIM)
  list(APPEND pages ${CMAKE_BINARY_DIR}/man/${program}.1)
endforeach()
add_custom_target(man_pages ALL DEPENDS ${pages})
