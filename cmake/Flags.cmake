# Flags that every target of the project is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

set(AS_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

# -O2, and NDEBUG left out: assertions of the standard library's containers cost little here. The rest
# of the distribution's hardening stands below, for every build.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -D_FORTIFY_SOURCE=2 -Wformat -Werror=format-security")

add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wimplicit-fallthrough
  -fno-semantic-interposition -fstack-protector-strong)
# g++ 12 sees overflows and null pointers in inlined standard containers that are not there.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-null-dereference -Wno-stringop-overflow -Wno-stringop-overread
                      -Wno-array-bounds -Wno-maybe-uninitialized -Wno-restrict)
endif()
if(AS_SANITIZE)
  add_compile_options(-fsanitize=${AS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${AS_SANITIZE})
else()
  # A sanitizer's own run-time symbols are found in the program, not in the library.
  set(AS_NO_UNDEFINED "-Wl,-z,defs")
endif()
add_link_options(-Wl,-z,relro,-z,now)

include_directories("${CMAKE_CURRENT_SOURCE_DIR}")
