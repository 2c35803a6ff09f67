# Flags for sanitizers, coverage and fuzzing. They apply to every target, because all code of a process needs them.
if(XAVO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "XAVO_FUZZ needs clang: configure with CC=clang CXX=clang++, or --preset fuzz")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(XAVO_SANITIZE)
    # CMPI's return codes are an enumeration, but a broker can send any number, so -fsanitize=enum is left out.
    add_compile_options(-fsanitize=${XAVO_SANITIZE} -fno-sanitize=enum -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${XAVO_SANITIZE})
    # With sanitizers, gcc warns that some initialised variables may be uninitialised.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(XAVO_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
