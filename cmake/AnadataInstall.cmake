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

# Components, one per Debian package (AnadataPackaging.cmake): runtime (the shared library),
# development (headers, CMake package, pkg-config file, the library's link name), tools, server, python.
install(TARGETS anadata EXPORT anadataTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/anadata/flat)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/library/include/anadata
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development PATTERN "*.in" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/library/include/anadata/version.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/anadata COMPONENT development)
# The flat directory holds links to the headers of the classic interface (see library/CMakeLists.txt).
set(flat_links ${PROJECT_BINARY_DIR}/install-flat)
file(REMOVE_RECURSE ${flat_links})
file(MAKE_DIRECTORY ${flat_links})
foreach(header ${ANADATA_FLAT_HEADERS})
    file(CREATE_LINK ../${header} ${flat_links}/${header} SYMBOLIC)
    list(APPEND flat_files ${flat_links}/${header})
endforeach()
install(FILES ${flat_files} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/anadata/flat COMPONENT development)

install(EXPORT anadataTargets NAMESPACE anadata:: DESTINATION ${ANADATA_CMAKE_DIR} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/anadataConfig.cmake ${PROJECT_BINARY_DIR}/anadataConfigVersion.cmake
    DESTINATION ${ANADATA_CMAKE_DIR} COMPONENT development)

# The file locates its prefix relative to itself, so the tree can be installed anywhere.
file(RELATIVE_PATH ANADATA_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
configure_file(${PROJECT_SOURCE_DIR}/cmake/anadata.pc.in ${PROJECT_BINARY_DIR}/anadata.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/anadata.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
