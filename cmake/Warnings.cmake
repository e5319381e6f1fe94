# Warnings are errors where we change things (./check), and only told where others build with compilers newer than ours.
option(LUMATO_WERROR "Treat warnings as errors" OFF)

add_compile_options(
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual -Wformat=2)
# gcc 12 sees overlapping copies in its own std::string where there are none (its bug 105329), with -O3.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options(-Wno-restrict)
endif()
if(LUMATO_WERROR)
    add_compile_options(-Werror)
endif()
