# Every installed file belongs to one of these components, from which the packages are made: library, companion,
# platform, development (headers, CMake and pkg-config files), tools and simulator.

# xavo_install_package(name component): installs the CMake targets of the export set `name` and the pkg-config file
# that is made from cmake/<name>.pc.in.
file(RELATIVE_PATH XAVO_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" XAVO_PC_PREFIX ${XAVO_PC_PREFIX})
function(xavo_install_package name component)
    install(EXPORT ${name} NAMESPACE xavo:: FILE ${name}-targets.cmake
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/xavo COMPONENT ${component})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT ${component})
endfunction()
