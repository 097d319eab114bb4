# What `cmake --install` puts in place: headers, library, CMake package, pkg-config file, and the
# hosts that were built.

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qdvideomixer")

install(TARGETS qdvideomixer EXPORT qdvideomixerTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/qdvideomixer"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")
install(FILES "${PROJECT_BINARY_DIR}/include/qdvideomixer/version.h"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qdvideomixer")

install(DIRECTORY "${PROJECT_SOURCE_DIR}/share/qdvideomixer"
    DESTINATION "${CMAKE_INSTALL_DATADIR}")

install(EXPORT qdvideomixerTargets
    NAMESPACE qdvideomixer:: DESTINATION "${package_dir}")
configure_package_config_file(
    cmake/qdvideomixerConfig.cmake.in "${PROJECT_BINARY_DIR}/qdvideomixerConfig.cmake"
    INSTALL_DESTINATION "${package_dir}")
# Before 1.0 a minor version may change interfaces.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qdvideomixerConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/qdvideomixerConfig.cmake"
    "${PROJECT_BINARY_DIR}/qdvideomixerConfigVersion.cmake"
    DESTINATION "${package_dir}")

file(RELATIVE_PATH QDVM_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" QDVM_PC_PREFIX "${QDVM_PC_PREFIX}")
configure_file(cmake/qdvideomixer.pc.in "${PROJECT_BINARY_DIR}/qdvideomixer.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qdvideomixer.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

if(TARGET gstqdvideomixer)
    install(TARGETS gstqdvideomixer
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0")
endif()
if(TARGET qdmix)
    install(TARGETS qdmix RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    install(FILES "${QDVM_QDMIX_MAN}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
    install(FILES "${QDVM_QDMIX_COMPLETION}"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME qdmix)
endif()
