# LUMATO_FUZZ builds everything for libFuzzer, too. It needs clang; LUMATO_SANITIZE says what is looked for.
option(LUMATO_FUZZ "Build the fuzzers (clang)" OFF)

if(LUMATO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "LUMATO_FUZZ needs -DCMAKE_CXX_COMPILER=clang++")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
