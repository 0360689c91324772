cmake_policy(VERSION 3.25)
# Tests CheckLayers.cmake on small checkouts: each fault is found, and what is allowed passes.
# Run with -DWORK=a folder to make them in.
set(failures 0)

# A file of a checkout, after a sentence that says what it is for.
function(write_source file text)
  file(WRITE "${WORK}/${file}" "// A source that is part of a test.\n${text}\n")
endfunction()

# Makes a checkout without a fault.
function(make_checkout)
  file(REMOVE_RECURSE "${WORK}")
  foreach(header plist/PropertyList.h platform/Files.h store/AccountsManager.h host/LinuxHost.h
                 migration/GoogleMail.h testing/FakeFiles.h tool/frame/Json.h tool/commands/Input.h)
    write_source(${header} "#pragma once")
  endforeach()
  write_source(store/AccountsManager.cc "#include \"store/AccountsManager.h\"\n#include <vector>")
  write_source(store/AccountsManager_test.cc "#include \"testing/FakeFiles.h\"\n#include <unistd.h>")
  write_source(host/LinuxHost.cc "#  include \"host/LinuxHost.h\"\n#include <fcntl.h>")
  write_source(tool/commands/Input.cc "#include \"tool/commands/Input.h\"\n#include \"tool/frame/Json.h\"\n#include \"host/LinuxHost.h\"")
  write_source(examples/list.cc "#include <accountsettings/store/AccountsManager.h>")
  file(WRITE "${WORK}/store/CMakeLists.txt" "as_layer(store TESTS AccountsManager_test.cc)")
endfunction()

function(run_check)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -DROOT=${WORK} -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/CheckLayers.cmake
    RESULT_VARIABLE status ERROR_VARIABLE said OUTPUT_QUIET)
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  set(status "${status}" PARENT_SCOPE)
  set(said "${said}" PARENT_SCOPE)
endfunction()

# expect_fault(FILE TEXT PART_OF_THE_MESSAGE): a checkout with this file as well has this fault alone.
function(expect_fault file text message)
  make_checkout()
  write_source(${file} "${text}")
  run_check()
  string(FIND "${said}" "${file}" at_file)
  string(FIND "${said}" "${message}" at_message)
  string(REGEX MATCHALL "(includes|its own|in no|names no|not open|no rules|declares)" faults "${said}")
  list(LENGTH faults count)
  if(status EQUAL 0 OR at_file EQUAL -1 OR at_message EQUAL -1 OR NOT count EQUAL 1)
    message("FAILED: ${file} with ${text}\n  expected: ${message}\n  said: ${said}")
    math(EXPR failures "${failures} + 1")
    set(failures ${failures} PARENT_SCOPE)
  endif()
endfunction()

make_checkout()
run_check()
if(NOT status EQUAL 0)
  message("FAILED: a checkout without a fault\n  said: ${said}")
  math(EXPR failures "${failures} + 1")
endif()

# Up the layers, in every form of an include.
expect_fault(store/Bad.cc "#include \"host/LinuxHost.h\"" "store/ may not include from host/")
expect_fault(store/Bad.h "  #  include\t\"migration/GoogleMail.h\"" "store/ may not include from migration/")
expect_fault(store/Bad.cc "#include \"../host/LinuxHost.h\"" "by its path from the root")
expect_fault(store/Bad.cc "#include \"./AccountsManager.h\"" "by its path from the root")
expect_fault(store/Bad.cc "#include \"AccountsManager.h\"" "by its path from the root")
expect_fault(store/Bad.cc "#include \"store/../host/LinuxHost.h\"" "by its path from the root")
expect_fault(store/Bad.cc "#include \"plist/None.h\"" "which is not there")
expect_fault(store/Bad.cc "#include <migration/GoogleMail.h>" "own headers stand in quotes")
expect_fault(store/Bad.cc "#include <../host/LinuxHost.h>" "not among the headers of store/")
expect_fault(store/Bad.cc "#include <accountsettings/plist/PropertyList.h>" "for programs outside")
expect_fault(store/Bad.cc "#include HEADER" "names no file")
expect_fault(host/Bad.cc "#include \"store/AccountsManager.h\"" "host/ may not include from store/")
expect_fault(host/LinuxHost.cc "#include <fcntl.h>\n#include \"host/LinuxHost.h\"" "its own header first")
expect_fault(tool/frame/Bad.cc "#include \"tool/commands/Input.h\"" "tool/frame/ stands below tool/commands/")
# Tests see more, but not everything.
expect_fault(plist/XTest.h "#include \"store/AccountsManager.h\"" "plist/ may not include from store/")
expect_fault(store/AccountsManager_test.cc "#include \"tool/frame/Json.h\"" "store/ may not include from tool/")
# System headers.
foreach(header pthread.h spawn.h netdb.h unistd.h sys/stat.h gtest/gtest.h nlohmann/json.hpp stdlib.h)
  expect_fault(store/Bad.cc "#include <${header}>" "not among the headers of store/")
endforeach()
expect_fault(host/Bad.cc "#include <netdb.h>" "not among the headers of host/")
expect_fault(tool/commands/Bad.cc "#include <unistd.h>" "not among the headers of tool/")
expect_fault(store/AccountsManager_test.cc "#include <netdb.h>" "not among the headers of store/")
# The folders beside the layers.
expect_fault(testing/Bad.cc "#include \"tool/frame/Json.h\"" "testing/ may not include from tool/")
expect_fault(bench/bad.cc "#include \"testing/FakeFiles.h\"" "bench/ may not include from testing/")
expect_fault(fuzz/bad.cc "#include \"bench/Workload.h\"" "fuzz/ may not include from bench/")
expect_fault(examples/bad.cc "#include \"tool/frame/Json.h\"" "examples/ may not include from tool/")
expect_fault(staging/Bad.cc "#include \"tool/frame/Json.h\"" "staging/ may not include from tool/")
expect_fault(newfolder/Bad.cc "" "newfolder/ has no rules")
# Classes of one name.
expect_fault(tool/frame/Bad.h "#pragma once\nclass Twice {\nstruct Twice final : Other {" "declares Twice, and so does")
# Tests that no build knows, and sources that do not say what they are for.
expect_fault(store/Forgotten_test.cc "" "is in no CMakeLists.txt")
foreach(text "#pragma once" "// MARK" "// Two words" "\n// A sentence, but below an empty line.")
  make_checkout()
  file(WRITE "${WORK}/store/Bad.h" "${text}\n")
  run_check()
  if(status EQUAL 0 OR NOT said MATCHES "store/Bad.h does not open with a sentence")
    message("FAILED: a source that begins with ${text}\n  said: ${said}")
    math(EXPR failures "${failures} + 1")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK}")
if(failures)
  message(FATAL_ERROR "${failures} cases failed")
endif()
