# The hosts: the GStreamer element and the qdmix command. qdmix carries the element inside, so it
# needs no plugin path.

if(QDVM_BUILD_GSTREAMER)
    if(NOT QDVM_GST_FOUND)
        message(FATAL_ERROR "QDVM_BUILD_GSTREAMER needs the GStreamer 1.20 development files")
    endif()
    qdvm_glob(QDVM_ELEMENT_SOURCES hosts/gstreamer)
endif()

if(QDVM_ELEMENT_SOURCES)
    add_library(qdvm_element OBJECT ${QDVM_ELEMENT_SOURCES})
    target_link_libraries(qdvm_element PUBLIC qdvm_internal PkgConfig::QDVM_GST)
    target_compile_definitions(qdvm_element PRIVATE
        PACKAGE="qdvideomixer" GST_USE_UNSTABLE_API)

    add_library(gstqdvideomixer MODULE $<TARGET_OBJECTS:qdvm_element>)
    target_link_libraries(gstqdvideomixer PRIVATE qdvideomixer qdvm_flags PkgConfig::QDVM_GST)
    set_target_properties(gstqdvideomixer PROPERTIES
        LINKER_LANGUAGE CXX
        LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/gstreamer"
        INSTALL_RPATH "$ORIGIN/..")
endif()

if(QDVM_BUILD_QDMIX AND QDVM_ELEMENT_SOURCES)
    qdvm_glob(QDVM_QDMIX_SOURCES hosts/qdmix)
endif()

if(QDVM_QDMIX_SOURCES)
    # The entry point stays apart so that tests can link everything else.
    set(qdmix_main ${QDVM_QDMIX_SOURCES})
    list(FILTER qdmix_main INCLUDE REGEX "/main\\.cpp$")
    list(FILTER QDVM_QDMIX_SOURCES EXCLUDE REGEX "/main\\.cpp$")

    if(QDVM_QDMIX_SOURCES)
        add_library(qdvm_qdmix OBJECT ${QDVM_QDMIX_SOURCES})
        target_link_libraries(qdvm_qdmix PUBLIC
            qdvm_internal PkgConfig::QDVM_GST PkgConfig::QDVM_GST_TOOLS)
        set(qdmix_objects $<TARGET_OBJECTS:qdvm_qdmix>)
    endif()

    add_executable(qdmix ${qdmix_main} ${qdmix_objects} $<TARGET_OBJECTS:qdvm_element>)
    target_link_libraries(qdmix PRIVATE
        qdvideomixer qdvm_internal PkgConfig::QDVM_GST PkgConfig::QDVM_GST_TOOLS)
    file(RELATIVE_PATH lib_from_bin
        "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(qdmix PROPERTIES
        LINKER_LANGUAGE CXX
        INSTALL_RPATH "$ORIGIN/${lib_from_bin}")

    # The manual page and the completion come from the command's own table of options.
    set(QDVM_QDMIX_MAN "${PROJECT_BINARY_DIR}/share/qdmix.1")
    set(QDVM_QDMIX_COMPLETION "${PROJECT_BINARY_DIR}/share/qdmix.bash")
    file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/share")
    add_custom_command(
        OUTPUT "${QDVM_QDMIX_MAN}" "${QDVM_QDMIX_COMPLETION}"
        COMMAND "$<TARGET_FILE:qdmix>" --man-page > "${QDVM_QDMIX_MAN}"
        COMMAND "$<TARGET_FILE:qdmix>" --bash-completion > "${QDVM_QDMIX_COMPLETION}"
        DEPENDS qdmix
        VERBATIM)
    add_custom_target(qdmix_docs ALL DEPENDS "${QDVM_QDMIX_MAN}" "${QDVM_QDMIX_COMPLETION}")
endif()
