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

# xavo_record_conditions(target scope): with XAVO_MCDC, compiles a target so that its processes record which conditions
# decided, and links it, or with the scope INTERFACE the programs of its objects, with what writes the records.
# One file for each process (%p) and each of its binaries (%m): a process that is killed while it writes spoils no other.
function(xavo_record_conditions target scope)
    if(XAVO_MCDC)
        set(option -fprofile-instr-generate=${PROJECT_BINARY_DIR}/profiles/%p-%m.profraw)
        target_compile_options(${target} PRIVATE ${option} -fprofile-update=atomic -fcoverage-mapping -fcoverage-mcdc)
        target_compile_definitions(${target} PRIVATE XAVO_MCDC)
        target_link_options(${target} ${scope} -fprofile-instr-generate)
    endif()
endfunction()
