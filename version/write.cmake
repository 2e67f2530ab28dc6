# Run at each build: writes `to` when the version is another one than it says. Commits rebuild no more than this.
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/version.sh OUTPUT_VARIABLE version
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/version.cpp.in ${to} @ONLY)
