# How the libraries that programs link are built: C++ without its run-time library, everything hidden but what a
# version script names.

# xavo_library_objects(target): compiles an object library, which the tests link by themselves.
function(xavo_library_objects target)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE
        -fno-exceptions -fno-rtti -fno-threadsafe-statics
        -fno-plt # symbols are bound at load time, so that nothing is gained from a detour through the PLT
        -fno-semantic-interposition # what can be seen and replaced from outside, the version script alone says
        -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=) # log lines carry __FILE__: no build path in the binary
    xavo_harden(${target})
endfunction()

# xavo_library(target version_script): makes the shared library of such objects. Linked by the C compiler:
# nothing of the C++ run-time library may be needed.
function(xavo_library target version_script)
    set_target_properties(${target} PROPERTIES
        LINKER_LANGUAGE C
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS ${version_script})
    target_link_options(${target} PRIVATE LINKER:--version-script=${version_script} LINKER:-Bsymbolic-functions)
    if(NOT XAVO_SANITIZE)
        target_link_options(${target} PRIVATE LINKER:-z,defs) # a sanitizer's functions come from the program
    endif()
    xavo_harden(${target})
endfunction()
