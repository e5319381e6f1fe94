# Most of a build's time goes into the same headers, over and over. LUMATO_MERGE has several sources of a target
# compiled as one. Nothing may be named alike in two files of a room then, not even in anonymous
# namespaces; sources with compile options of their own stay apart.
option(LUMATO_MERGE "Compile several sources at a time")
set(CMAKE_UNITY_BUILD ${LUMATO_MERGE})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 24)
# To gcc, what is included is a header.
if(LUMATO_MERGE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_compile_options(-Wno-subobject-linkage)
endif()

# What nearly every source reads of the standard library, and the window's of Qt, is read once for all targets that
# are compiled alike.
set(LUMATO_HEADERS <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <filesystem> <functional> <map>
    <memory> <mutex> <optional> <set> <string> <string_view> <thread> <utility> <vector>)
set(LUMATO_HEADERS_test <gmock/gmock.h> <gtest/gtest.h>)
set(LUMATO_HEADERS_window <QApplication> <QDBusConnection> <QFileDialog> <QLabel> <QPainter> <QPushButton> <QTimer>
    <QVBoxLayout>)
# Sources that are optimized as far as -O3 can use what was read with -O2, but not what was read without or for size.
set(LUMATO_PRECOMPILE OFF)
if(LUMATO_MERGE AND (CMAKE_BUILD_TYPE MATCHES "^(Debug|Release|RelWithDebInfo)$" OR
        (CMAKE_BUILD_TYPE STREQUAL None AND CMAKE_CXX_FLAGS MATCHES "-O[123]")))
    set(LUMATO_PRECOMPILE ON)
endif()
# Programs are compiled as libraries are, and all as libvips wants its users to be, or each would need a reading of its
# own.
if(LUMATO_PRECOMPILE)
    set(CMAKE_CXX_COMPILE_OPTIONS_PIE ${CMAKE_CXX_COMPILE_OPTIONS_PIC})
    add_compile_options(-pthread)
endif()

# lumato_precompile(TARGET room|test|window): what that kind of target reads.
function(lumato_precompile target kind)
    if(NOT LUMATO_PRECOMPILE)
        return()
    endif()
    get_directory_property(options COMPILE_OPTIONS)
    string(MD5 alike "${kind} ${options}")
    string(SUBSTRING ${alike} 0 8 alike)
    if(NOT TARGET headers_${alike})
        set(nothing ${CMAKE_BINARY_DIR}/headers.cpp)
        if(NOT EXISTS ${nothing})
            file(TOUCH ${nothing})
        endif()
        add_library(headers_${alike} OBJECT ${nothing})
        set_target_properties(headers_${alike} PROPERTIES AUTOMOC OFF)
        get_target_property(libraries ${target} LINK_LIBRARIES)
        target_link_libraries(headers_${alike} PRIVATE ${libraries})
        target_precompile_headers(headers_${alike} PRIVATE ${LUMATO_HEADERS} ${LUMATO_HEADERS_${kind}})
    endif()
    target_precompile_headers(${target} REUSE_FROM headers_${alike})
endfunction()

# lumato_room(NAME SOURCES file... [USES library...])
# One static library per room, named lumato_NAME. Includes are written "room/header.h".
function(lumato_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;USES" ${ARGN})
    add_library(lumato_${name} STATIC ${ROOM_SOURCES})
    target_include_directories(lumato_${name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(lumato_${name} PUBLIC ${ROOM_USES})
    if(Qt6::Widgets IN_LIST ROOM_USES)
        lumato_precompile(lumato_${name} window)
    else()
        lumato_precompile(lumato_${name} room)
    endif()
endfunction()

# lumato_test(NAME SOURCES file... [USES library...])
# One GoogleTest program per room; each of its cases is a CTest test named NAME.Suite.Case.
function(lumato_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name}_test ${TEST_SOURCES})
    set_target_properties(${name}_test PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_include_directories(${name}_test PRIVATE ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name}_test PRIVATE ${TEST_USES} GTest::gmock GTest::gtest_main)
    lumato_precompile(${name}_test test)
    gtest_discover_tests(${name}_test TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60)
endfunction()
