# LUMATO_FUZZ builds everything for libFuzzer, with the address and undefined-behaviour sanitizers. It needs
# clang and a build folder of its own.
option(LUMATO_FUZZ "Build the fuzzers (clang)" OFF)

if(LUMATO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "LUMATO_FUZZ needs -DCMAKE_CXX_COMPILER=clang++")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
