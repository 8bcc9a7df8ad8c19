# Runs LIBRARY as a program (behind EMULATOR, "|"-separated, when cross-compiling) and checks its
# exact output.
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${LIBRARY} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
set(expected "ZYL Plugin, version 26.0, built Jan  9 2026\n")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "library exited with ${rc}")
endif()
if(NOT out STREQUAL expected)
  message(FATAL_ERROR "unexpected banner: [${out}]")
endif()
string(LENGTH "${out}" n)
message(STATUS "banner ok (${n} bytes)")
