cmake_policy(VERSION 3.25)
# Writes the public headers of the checkout SOURCE to the folder OUTPUT as they are installed: beneath
# accountsettings/, and including each other from there, so that no header of a program's own is
# taken for one of them.
include("${CMAKE_CURRENT_LIST_DIR}/PublicHeaders.cmake")

set(names)
foreach(header IN LISTS AS_PUBLIC_HEADERS)
  file(READ "${SOURCE}/${header}" text)
  string(REGEX MATCHALL "\n#include \"[^\"]+" includes "${text}")
  foreach(include IN LISTS includes)
    string(REGEX REPLACE ".*\"" "" included "${include}")
    if(NOT included IN_LIST AS_PUBLIC_HEADERS)
      message(FATAL_ERROR "${header} is a public header and includes ${included}, which is none; "
                          "see api/PublicHeaders.cmake")
    endif()
  endforeach()
  string(REGEX REPLACE "(\n#include )\"([^\"]+)\"" "\\1<accountsettings/\\2>" text "${text}")

  string(REGEX REPLACE "^api/" "" name "${header}")
  list(APPEND names "accountsettings/${name}")
  set(file "${OUTPUT}/accountsettings/${name}")
  set(old)
  if(EXISTS "${file}")
    file(READ "${file}" old)
  endif()
  if(NOT text STREQUAL old)
    file(WRITE "${file}" "${text}")
  endif()
endforeach()

# What was a public header once.
file(GLOB_RECURSE present RELATIVE "${OUTPUT}" "${OUTPUT}/*")
list(REMOVE_ITEM present ${names})
foreach(file IN LISTS present)
  file(REMOVE "${OUTPUT}/${file}")
endforeach()
