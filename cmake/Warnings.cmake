# Warnings for every target of the project, for gcc and clang alike.
add_compile_options(
    -Wall -Wextra -Wpedantic
    -Wcast-qual -Wconversion -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough -Wnull-dereference -Wshadow
    -Wsign-conversion -Wundef -Wvla
    -Wno-format-nonliteral # log formats are in tables
    $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>
    $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes>
    $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wduplicated-branches -Wduplicated-cond -Wlogical-op)
endif()
if(XAVO_WERROR)
    add_compile_options(-Werror)
endif()
