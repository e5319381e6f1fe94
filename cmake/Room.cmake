# Most of a build's time goes into the same headers, over and over. LUMATO_MERGE has several sources of a target
# compiled as one. Nothing may be named alike in two files of a room then, not even in anonymous
# namespaces; sources with compile options of their own stay apart.
option(LUMATO_MERGE "Compile several sources at a time")
set(CMAKE_UNITY_BUILD ${LUMATO_MERGE})
# To gcc, what is included is a header.
if(LUMATO_MERGE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_compile_options(-Wno-subobject-linkage)
endif()

# Headers of the standard library and of others are read once a target instead of by every source, which saves a sixth of
# the time to build. That one of them was forgotten goes unnoticed then; one of ours does not.
option(LUMATO_PRECOMPILE "Precompile the headers of libraries" OFF)
# gcc 12 sees its own std::string written beyond its end then (its bug 105329).
if(LUMATO_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options(-Wno-array-bounds -Wno-stringop-overflow)
endif()

# lumato_precompile(TARGET [header...])
# What most sources include, and HEADERs.
function(lumato_precompile target)
    if(LUMATO_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE
            <algorithm> <chrono> <filesystem> <functional> <map> <memory> <mutex> <optional> <string> <thread> <variant>
            <vector> <tl/expected.hpp> ${ARGN})
    endif()
endfunction()

# lumato_room(NAME SOURCES file... [USES library...] [HEADERS header...])
# One static library per room, named lumato_NAME. Includes are written "room/header.h".
function(lumato_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;USES;HEADERS" ${ARGN})
    add_library(lumato_${name} STATIC ${ROOM_SOURCES})
    target_include_directories(lumato_${name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(lumato_${name} PUBLIC ${ROOM_USES})
    lumato_precompile(lumato_${name} ${ROOM_HEADERS})
endfunction()

# lumato_test(NAME SOURCES file... [USES library...])
# One GoogleTest program per room; each of its cases is a CTest test named NAME.Suite.Case.
function(lumato_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name}_test ${TEST_SOURCES})
    set_target_properties(${name}_test PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_include_directories(${name}_test PRIVATE ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name}_test PRIVATE ${TEST_USES} GTest::gmock GTest::gtest_main)
    lumato_precompile(${name}_test <gmock/gmock.h> <gtest/gtest.h>)
    gtest_discover_tests(${name}_test TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60)
endfunction()
