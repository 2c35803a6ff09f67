# What is installed belongs to one of these components, which packages are made from: library, companion,
# platform, development (the headers, and what a build finds libxavo by), tools and simulator.

# xavo_install_package(name component): the CMake targets of the export set `name`, and cmake/<name>.pc.in.
file(RELATIVE_PATH XAVO_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" XAVO_PC_PREFIX ${XAVO_PC_PREFIX})
function(xavo_install_package name component)
    install(EXPORT ${name} NAMESPACE xavo:: FILE ${name}-targets.cmake
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/xavo COMPONENT ${component})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT ${component})
endfunction()
