# Finds json-c's static library, with which xavoctl writes JSON, so that controllers do not need json-c. Afterwards
# XAVO_HAVE_JSON_C says whether a program for the target machine can be linked with it.
include(CheckCSourceCompiles)
xavo_find(XAVO_JSON_C json-c/json.h libjson-c.a)
mark_as_advanced(XAVO_JSON_C_INCLUDE_DIR XAVO_JSON_C_LIBRARY)
if(XAVO_JSON_C_INCLUDE_DIR AND XAVO_JSON_C_LIBRARY)
    set(CMAKE_REQUIRED_INCLUDES ${XAVO_JSON_C_INCLUDE_DIR})
    set(CMAKE_REQUIRED_LIBRARIES ${XAVO_JSON_C_LIBRARY})
    check_c_source_compiles("#include <json-c/json.h>
int main(void) { return json_object_put(json_tokener_parse(\"[]\")) == 0; }" XAVO_HAVE_JSON_C)
    unset(CMAKE_REQUIRED_INCLUDES)
    unset(CMAKE_REQUIRED_LIBRARIES)
endif()
