# FindCimClient - finds the CIM client library, sblim-sfcc. Afterwards:
#   CimClient::CimClient    the library and its headers
#   CimClient_FOUND         whether both were found
#   CimClient_INCLUDE_DIR   the folder of CimClientLib/cmci.h
#   CimClient_LIBRARY       the library's path
include(${CMAKE_CURRENT_LIST_DIR}/Find.cmake)
include(FindPackageHandleStandardArgs)

# A controller's file system often has the library under its soname alone.
xavo_find(CimClient CimClientLib/cmci.h cmpisfcc libcmpisfcc.so.1)
mark_as_advanced(CimClient_INCLUDE_DIR CimClient_LIBRARY)
find_package_handle_standard_args(CimClient
    REQUIRED_VARS CimClient_LIBRARY CimClient_INCLUDE_DIR
    REASON_FAILURE_MESSAGE "sblim-sfcc was not found (include/CimClientLib/cmci.h, lib/libcmpisfcc.so). \
Set -DCMAKE_PREFIX_PATH=... to its installation prefix, or configure with -DXAVO_CIM_CLIENT=simulator.")
if(CimClient_FOUND AND NOT TARGET CimClient::CimClient)
    add_library(CimClient::CimClient SHARED IMPORTED)
    set_target_properties(CimClient::CimClient PROPERTIES
        IMPORTED_LOCATION "${CimClient_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${CimClient_INCLUDE_DIR}")
endif()
