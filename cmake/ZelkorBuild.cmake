# Compiler settings for every target, and the functions that make a room's targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib;$ORIGIN/../lib/${CMAKE_LIBRARY_ARCHITECTURE};$ORIGIN")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

option(ZELKOR_WARNINGS_AS_ERRORS "Every warning stops the build" ON)
set(ZELKOR_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, 'address,undefined' or 'thread'")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow=compatible-local)
if(ZELKOR_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()
# With optimisation this compiler sees overlapping and overrunning copies in plain additions of strings where there are
# none. The debug build keeps these warnings.
add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-Wno-restrict;-Wno-array-bounds;-Wno-stringop-overflow;-Wno-stringop-overread>")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
if(ZELKOR_SANITIZE)
  add_compile_options(-fsanitize=${ZELKOR_SANITIZE} -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${ZELKOR_SANITIZE})
  add_compile_definitions(ZELKOR_SANITIZED)
endif()

# Precompiled standard headers take a third off the build. They are off by default, so that a build without them shows
# a missing include.
option(ZELKOR_PRECOMPILE "Precompile the standard headers" OFF)

find_program(ZELKOR_CCACHE ccache)
if(ZELKOR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ZELKOR_CCACHE}")
  if(ZELKOR_PRECOMPILE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${ZELKOR_CCACHE}")
  endif()
endif()
if(ZELKOR_PRECOMPILE)
  set(CMAKE_PCH_WARN_INVALID OFF)
  add_compile_options(-fpch-preprocess -pthread)
endif()
find_program(ZELKOR_MOLD mold)
if(ZELKOR_MOLD)
  add_link_options(-fuse-ld=mold)
endif()

if(ZELKOR_PRECOMPILE)
  file(WRITE "${CMAKE_BINARY_DIR}/zelkor_precompile.cpp" "")
  add_library(zelkor_precompile OBJECT "${CMAKE_BINARY_DIR}/zelkor_precompile.cpp")
  target_precompile_headers(zelkor_precompile PRIVATE <algorithm> <atomic> <chrono> <cstdint> <exception> <functional>
    <list> <map> <memory> <mutex> <optional> <string> <thread> <utility> <vector>)
endif()

# zelkor_precompiled(TARGET): lets a target use the precompiled headers, where they are on. A target whose own settings
# differ falls back to the plain ones.
function(zelkor_precompiled TARGET)
  if(ZELKOR_PRECOMPILE)
    target_precompile_headers(${TARGET} REUSE_FROM zelkor_precompile)
  endif()
endfunction()

# zelkor_room(NAME SOURCES a.cpp ... LINKS x ...)
# The objects of one room, to be put into a shared library or, with doubles in place of collaborators, into a test.
function(zelkor_room NAME)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${NAME} OBJECT ${ROOM_SOURCES})
  target_include_directories(${NAME} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${NAME} PUBLIC ${ROOM_LINKS})
  zelkor_precompiled(${NAME})
endfunction()

# zelkor_shared_library(NAME OUTPUT ZelkorSyncFile.X [VERSION_SCRIPT file] ROOMS r ... PUBLIC p ... PRIVATE q ...)
# A shared library of the required name, made of rooms.
function(zelkor_shared_library NAME)
  cmake_parse_arguments(LIB "" "OUTPUT;VERSION_SCRIPT" "ROOMS;PUBLIC;PRIVATE" ${ARGN})
  set(OBJECTS "")
  foreach(ROOM IN LISTS LIB_ROOMS)
    list(APPEND OBJECTS $<TARGET_OBJECTS:${ROOM}>)
  endforeach()
  add_library(${NAME} SHARED ${OBJECTS})
  string(REPLACE "ZelkorSyncFile." "" SHORT_NAME "${LIB_OUTPUT}")
  set_target_properties(${NAME} PROPERTIES OUTPUT_NAME "${LIB_OUTPUT}" LINKER_LANGUAGE CXX
    EXPORT_NAME "${SHORT_NAME}" VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${NAME} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zelkor-sync-file>)
  # Users must not take copies of the shared variables into their own image.
  target_compile_options(${NAME} INTERFACE -fPIC)
  target_link_libraries(${NAME} PUBLIC ${LIB_PUBLIC} PRIVATE ${LIB_PRIVATE})
  if(NOT ZELKOR_SANITIZE)
    target_link_options(${NAME} PRIVATE -Wl,--no-undefined)
  endif()
  if(LIB_VERSION_SCRIPT)
    target_link_options(${NAME} PRIVATE "-Wl,--version-script=${LIB_VERSION_SCRIPT}")
    set_target_properties(${NAME} PROPERTIES LINK_DEPENDS "${LIB_VERSION_SCRIPT}")
  endif()
  add_library(ZelkorSyncFile::${SHORT_NAME} ALIAS ${NAME})
endfunction()
