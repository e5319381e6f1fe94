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

# lumato_room(NAME SOURCES file... [USES library...])
# One static library per room, named lumato_NAME. Includes are written "room/header.h".
function(lumato_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;USES" ${ARGN})
    add_library(lumato_${name} STATIC ${ROOM_SOURCES})
    target_include_directories(lumato_${name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(lumato_${name} PUBLIC ${ROOM_USES})
endfunction()

# lumato_test(NAME SOURCES file... [USES library...])
# One GoogleTest program per room; each of its cases is a CTest test named NAME.Suite.Case.
function(lumato_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name}_test ${TEST_SOURCES})
    set_target_properties(${name}_test PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_include_directories(${name}_test PRIVATE ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name}_test PRIVATE ${TEST_USES} GTest::gmock GTest::gtest_main)
    gtest_discover_tests(${name}_test TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60)
endfunction()
