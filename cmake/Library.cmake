# Builds the libraries that programs link: C++ without its run-time library; only the symbols in the version script are
# exported.

# xavo_library_objects(target): sets the options of an object library. The tests link the objects directly.
function(xavo_library_objects target)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE
        -fno-exceptions -fno-rtti -fno-threadsafe-statics
        -fno-plt # symbols are bound at load time, so the PLT has no benefit
        -fno-semantic-interposition # calls within the library are never replaced from outside
        -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=) # log lines carry __FILE__: no build path in the binary
    xavo_harden(${target})
endfunction()

# xavo_library(target version_script): sets the options of the shared library made from such objects. The C compiler
# links it, so that it cannot need the C++ run-time library.
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
