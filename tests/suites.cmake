# Writes a file for ctest with one test for each suite of a test program.
#
# usage: cmake -Dprogram=PROGRAM -Dprefix=PREFIX -Dtests=FILE -P suites.cmake
execute_process(COMMAND "${program}" --gtest_list_tests OUTPUT_VARIABLE list COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "(^|\n)[A-Za-z0-9_/]+\\." suites "${list}")
set(text "")
foreach(suite IN LISTS suites)
  string(REGEX REPLACE "[\n.]" "" suite "${suite}")
  string(APPEND text "add_test([=[${prefix}.${suite}]=] [=[${program}]=] [=[--gtest_filter=${suite}.*]=])\n"
    "set_tests_properties([=[${prefix}.${suite}]=] PROPERTIES TIMEOUT 900)\n")
endforeach()
if(text STREQUAL "")
  message(FATAL_ERROR "${program} lists no suites")
endif()
file(WRITE "${tests}" "${text}")
