# What every target of the tree shares, and the two functions with which folders declare theirs.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
# The module of decoders is made of the same libraries as the programs.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)
set(CMAKE_AUTOUIC ON)
# The formats after this one hold the times of the files, which differ from one copy of the tree to the next.
set(CMAKE_AUTORCC_OPTIONS --format-version 1)

set(FRAMEFLOW_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

find_program(FRAMEFLOW_CCACHE ccache)
if(FRAMEFLOW_CCACHE)
  # Precompiled headers are known by what they were made of.
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros
    "${FRAMEFLOW_CCACHE}")
endif()

# The faster linker, for some 250 programs that the tests alone are.
find_program(FRAMEFLOW_GOLD ld.gold)

add_library(frameflow_options INTERFACE)
target_compile_options(frameflow_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-qual -Wvla -Werror=return-type)
# QT_NO_KEYWORDS: GLib has members called "signals".
target_compile_definitions(frameflow_options INTERFACE QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)
if(FRAMEFLOW_GOLD AND CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_link_options(frameflow_options INTERFACE -fuse-ld=gold)
endif()
if(FRAMEFLOW_SANITIZE)
  target_compile_options(frameflow_options INTERFACE -fsanitize=${FRAMEFLOW_SANITIZE})
  target_link_options(frameflow_options INTERFACE -fsanitize=${FRAMEFLOW_SANITIZE})
endif()

# frameflow_library(NAME SOURCES ... PUBLIC libraries... PRIVATE libraries...)
# A folder's library. It exports its own folder alone as include path, so an include of a folder that is not
# declared here does not compile.
function(frameflow_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE frameflow_options ${arg_PRIVATE})
endfunction()

# frameflow_forms(NAME)
# Sources of the library include forms of resources/, as ui_FORM.h. Each is compiled in the same build in which its form
# has changed: Ninja alone would not see before the next one that the header has been written anew.
function(frameflow_forms name)
  set_target_properties(${name} PROPERTIES AUTOUIC_SEARCH_PATHS "${PROJECT_SOURCE_DIR}/resources")
  get_target_property(sources ${name} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  foreach(source IN LISTS sources)
    file(STRINGS "${source}" includes REGEX "^#include \"ui_")
    list(TRANSFORM includes REPLACE ".*\"ui_(.*)\\.h\".*" "${PROJECT_SOURCE_DIR}/resources/\\1.ui")
    set_property(SOURCE "${source}" APPEND PROPERTY OBJECT_DEPENDS "${includes}")
  endforeach()
endfunction()

# frameflow_test(NAME SOURCES ... LIBRARIES ... [DISPLAY] [LABELS ...] [TIMEOUT seconds])
# A Qt Test program. With DISPLAY it runs on an X server of its own with a window manager and a session bus;
# otherwise on Qt's offscreen platform. Home and settings folders are private to the run in both cases.
function(frameflow_test name)
  cmake_parse_arguments(arg "DISPLAY" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE frameflow_options test_support Qt6::Test ${arg_LIBRARIES})
  target_precompile_headers(${name} REUSE_FROM test_headers)
  if(arg_DISPLAY)
    set(mode display)
  else()
    set(mode offscreen)
  endif()
  add_test(NAME ${name} COMMAND "${PROJECT_SOURCE_DIR}/tests/support/run-isolated" ${mode} $<TARGET_FILE:${name}>)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
  list(TRANSFORM arg_SOURCES PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" REGEX "^[^/]")
  set_property(GLOBAL PROPERTY frameflow_sources_of_${name} "${arg_SOURCES}")
endfunction()

# frameflow_list_tests(FOLDER OUT)
# One line for each test that the folder and those below it have declared so far: its name, then its sources if it is
# a Qt Test program, separated by blanks.
function(frameflow_list_tests folder out)
  get_property(names DIRECTORY "${folder}" PROPERTY TESTS)
  get_property(subfolders DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
  set(lines "")
  foreach(name IN LISTS names)
    get_property(sources GLOBAL PROPERTY frameflow_sources_of_${name})
    list(JOIN sources " " sources)
    string(APPEND lines "${name} ${sources}\n")
  endforeach()
  foreach(subfolder IN LISTS subfolders)
    frameflow_list_tests("${subfolder}" below)
    string(APPEND lines "${below}")
  endforeach()
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()
