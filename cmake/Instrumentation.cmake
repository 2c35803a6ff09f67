# Sanitizers, coverage and fuzzing: flags for every target, since the parts of one process must agree.
if(XAVO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "XAVO_FUZZ needs clang: configure with CC=clang CXX=clang++, or --preset fuzz")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(XAVO_SANITIZE)
    # CMPI's return codes are an enumeration of C: the broker may send any number.
    add_compile_options(-fsanitize=${XAVO_SANITIZE} -fno-sanitize=enum -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${XAVO_SANITIZE})
    # The checks that a sanitizer puts in hide from gcc what has a value.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(XAVO_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
