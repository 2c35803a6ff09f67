# xavo_harden(target): sets the compiler's and the linker's options for a library that runs in privileged services.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-clash-protection XAVO_HAVE_STACK_CLASH_PROTECTION)
check_cxx_compiler_flag(-fcf-protection XAVO_HAVE_CF_PROTECTION)

function(xavo_harden target)
    target_compile_options(${target} PRIVATE
        -fstack-protector-strong
        $<$<BOOL:${XAVO_HAVE_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
        $<$<BOOL:${XAVO_HAVE_CF_PROTECTION}>:-fcf-protection>)
    # _FORTIFY_SOURCE needs optimised code. It replaces calls, which the sanitizers would then not check.
    if(NOT XAVO_SANITIZE)
        target_compile_options(${target} PRIVATE
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
    endif()
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
        target_link_options(${target} PRIVATE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
    endif()
endfunction()
