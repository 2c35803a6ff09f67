# Options of the libraries that programs link. They are C++ without its run-time library, and export only the symbols in
# their version script.

# xavo_library_objects(target): sets the options of an object library. The tests link the objects directly.
function(xavo_library_objects target)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE
        -fno-exceptions -fno-rtti -fno-threadsafe-statics
        -fno-plt # symbols are bound at load time, so the PLT has no benefit
        -fno-semantic-interposition # no other library can replace a function that this library calls in itself
        -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=) # keeps the build path out of __FILE__ in log lines
    xavo_harden(${target})
    xavo_record_conditions(${target} INTERFACE)
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
        # With a sanitizer, its functions are undefined until the program is linked.
        target_link_options(${target} PRIVATE LINKER:-z,defs)
    endif()
    xavo_harden(${target})
    xavo_record_conditions(${target} PRIVATE)
endfunction()
