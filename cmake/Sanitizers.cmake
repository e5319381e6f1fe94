# LUMATO_SANITIZE is a list for -fsanitize=, such as "address,undefined" or "thread".
set(LUMATO_SANITIZE "" CACHE STRING "Sanitizers to build with")

if(LUMATO_SANITIZE)
    add_compile_options(-fsanitize=${LUMATO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${LUMATO_SANITIZE})
    # Stories start lumatoctl a thousand times: a seventh of that went into relocating it.
    if(LUMATO_SANITIZE MATCHES address)
        string(APPEND CMAKE_EXE_LINKER_FLAGS " -no-pie")
    endif()
    # gcc's sanitizer instrumentation makes this warning fire on sound code.
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()

# For folders whose code computes little, and that no fuzzer reaches: optimizing what the sanitizers add takes half of
# their time to build, what fuzzers are led by a sixth, and line numbers as much. In `./check`'s other build a fifth.
macro(lumato_quick_to_build)
    if(LUMATO_SANITIZE)
        add_compile_options(-O0 -g0)
    elseif(LUMATO_FEW_TESTS)
        add_compile_options(-O1)
    endif()
    if(LUMATO_FUZZ)
        add_compile_options(-fno-sanitize=fuzzer-no-link)
    endif()
endmacro()
