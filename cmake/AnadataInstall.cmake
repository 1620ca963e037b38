# Install rules: the library, its public headers, a CMake package and a pkg-config file; and the same
# package in the build tree, for projects that use a build of anadata without installing it.
include(CMakePackageConfigHelpers)

set(ANADATA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/anadata)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/anadataConfig.cmake.in
    ${PROJECT_BINARY_DIR}/anadataConfig.cmake
    INSTALL_DESTINATION ${ANADATA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/anadataConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
export(TARGETS anadata NAMESPACE anadata:: FILE ${PROJECT_BINARY_DIR}/anadataTargets.cmake)

if(NOT ANADATA_INSTALL)
    return()
endif()

install(TARGETS anadata EXPORT anadataTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/anadata)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/library/include/anadata
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} PATTERN "*.in" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/library/include/anadata/version.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/anadata)

install(EXPORT anadataTargets NAMESPACE anadata:: DESTINATION ${ANADATA_CMAKE_DIR})
install(FILES ${PROJECT_BINARY_DIR}/anadataConfig.cmake ${PROJECT_BINARY_DIR}/anadataConfigVersion.cmake
    DESTINATION ${ANADATA_CMAKE_DIR})

# The file locates its prefix relative to itself, so the tree can be installed anywhere.
file(RELATIVE_PATH ANADATA_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
configure_file(${PROJECT_SOURCE_DIR}/cmake/anadata.pc.in ${PROJECT_BINARY_DIR}/anadata.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/anadata.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
