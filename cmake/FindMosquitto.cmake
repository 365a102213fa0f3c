# Finds the client library for MQTT of the Mosquitto project: Mosquitto_FOUND, and the target Mosquitto::Client.
find_path(Mosquitto_INCLUDE_DIR mosquitto.h)
find_library(Mosquitto_LIBRARY mosquitto)
mark_as_advanced(Mosquitto_INCLUDE_DIR Mosquitto_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Mosquitto REQUIRED_VARS Mosquitto_LIBRARY Mosquitto_INCLUDE_DIR)

if(Mosquitto_FOUND AND NOT TARGET Mosquitto::Client)
    add_library(Mosquitto::Client UNKNOWN IMPORTED)
    set_target_properties(Mosquitto::Client PROPERTIES
        IMPORTED_LOCATION ${Mosquitto_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Mosquitto_INCLUDE_DIR})
endif()
