# Chooses the CIM client library for all targets. Afterwards the target cim_client is an installed library or the
# simulator; XAVO_USE_SIMULATOR is ON if it is the simulator.
if(NOT XAVO_CIM_CLIENT MATCHES "^(auto|system|simulator)$")
    message(FATAL_ERROR "XAVO_CIM_CLIENT is '${XAVO_CIM_CLIENT}': it must be auto, system or simulator")
endif()

set(XAVO_USE_SIMULATOR ON)
if(NOT XAVO_CIM_CLIENT STREQUAL "simulator")
    if(XAVO_CIM_CLIENT STREQUAL "system")
        find_package(CimClient REQUIRED)
    else()
        find_package(CimClient QUIET)
    endif()
    if(CimClient_FOUND)
        set(XAVO_USE_SIMULATOR OFF)
    endif()
endif()

# If no client library is installed, the simulator is always installed: programs need it to compile and link.
cmake_dependent_option(XAVO_INSTALL_SIMULATOR
                       "Build and install the simulator, too, although a client library is installed" OFF
                       "NOT XAVO_USE_SIMULATOR" ON)
set(XAVO_SIMULATOR_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/xavo-simulator)
set(XAVO_SIMULATOR_LIBDIR ${CMAKE_INSTALL_LIBDIR}/xavo-simulator) # not in the loader's search path
if(XAVO_INSTALL_SIMULATOR)
    add_subdirectory(simulator)
    # With these, 32-bit machines, too, can schedule jobs after 2038.
    target_compile_definitions(cimsim_objects PUBLIC _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# The folder and the compiler flag of the client library's headers, which XAVO.h includes. The installed CMake and
# pkg-config files contain them.
if(XAVO_USE_SIMULATOR)
    add_library(cim_client ALIAS cimsim)
    set(XAVO_CLIENT_INCLUDE_DIR ${XAVO_SIMULATOR_INCLUDEDIR})
    set(XAVO_CLIENT_CFLAGS "-I\${prefix}/${XAVO_SIMULATOR_INCLUDEDIR}")
    message(STATUS "CIM client library: the simulator")
else()
    add_library(cim_client ALIAS CimClient::CimClient)
    set(XAVO_CLIENT_INCLUDE_DIR "${CimClient_INCLUDE_DIR}")
    set(XAVO_CLIENT_CFLAGS "-I${CimClient_INCLUDE_DIR}")
    message(STATUS "CIM client library: ${CimClient_LIBRARY} (no tests, no benchmarks)")
endif()
