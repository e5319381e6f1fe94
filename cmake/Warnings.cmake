# Warnings are errors everywhere; LUMATO_WERROR=OFF is for packagers with a compiler newer than ours.
option(LUMATO_WERROR "Treat warnings as errors" ON)

add_compile_options(
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual -Wformat=2)
if(LUMATO_WERROR)
    add_compile_options(-Werror)
endif()
