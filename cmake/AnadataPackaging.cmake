# Debian packages of the install components, made by CPack from a build: `cmake --build build
# --target deb` (or `cpack -G DEB` in the build directory) writes them to build/packages/.
#   runtime     -> libanadata1       the shared library (the SONAME's major version in the name)
#   development -> libanadata-dev    headers, CMake package, pkg-config file, Fortran include
#   tools       -> anadata-tools     the anadata tool, its manual page and bash completion
#   server      -> anadata-server    the reference service, its manual page and systemd unit
#   python      -> python3-anadata   the Python package for Debian's python3
# Dependencies on Debian's packages come from dpkg-shlibdeps; those between the packages are exact.
if(NOT ANADATA_INSTALL OR SKBUILD)  # a wheel build (pyproject.toml) makes no Debian packages
    return()
endif()

set(ANADATA_PACKAGE_MAINTAINER "anadata maintainers <anadata@example.org>" CACHE STRING
    "Maintainer field (and changelog signature) of the Debian packages")
set(ANADATA_PACKAGE_RELEASE 1 CACHE STRING "Debian revision of the packages")

set(library_package libanadata${PROJECT_VERSION_MAJOR})
set(package_version ${PROJECT_VERSION}-${ANADATA_PACKAGE_RELEASE})

set(components runtime development)
if(TARGET anadata-tool)
    list(APPEND components tools)
endif()
if(TARGET anadata-server)
    list(APPEND components server)
endif()
if(TARGET anadata_python)
    list(APPEND components python)
endif()

# Every package carries /usr/share/doc/<package>/copyright (machine-readable) and the changelog of
# the packaging. Both are Debian's own files, so a plain `cmake --install` leaves them out.
file(STRINGS ${PROJECT_SOURCE_DIR}/LICENSE license_lines)
list(SUBLIST license_lines 4 -1 license_lines)  # the title and the copyright line are said above it
set(ANADATA_LICENSE_TEXT "")
foreach(line IN LISTS license_lines)
    if(line STREQUAL "")
        set(line ".")
    endif()
    string(APPEND ANADATA_LICENSE_TEXT " ${line}\n")
endforeach()
string(STRIP "${ANADATA_LICENSE_TEXT}" ANADATA_LICENSE_TEXT)
set(ANADATA_LICENSE_TEXT " ${ANADATA_LICENSE_TEXT}")
set(debian_docs ${PROJECT_BINARY_DIR}/debian-docs)
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian-copyright.in ${debian_docs}/copyright @ONLY)
# SOURCE_DATE_EPOCH, when set, dates the entry (reproducible packages); otherwise the configure time.
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${debian_docs}/changelog.Debian
    "anadata (${package_version}) unstable; urgency=medium\n\n"
    "  * Packages of anadata ${PROJECT_VERSION}, built with CPack.\n\n"
    " -- ${ANADATA_PACKAGE_MAINTAINER}  ${changelog_date}\n")
execute_process(COMMAND gzip -9n -f ${debian_docs}/changelog.Debian RESULT_VARIABLE gzip_failed)
# The library package asks dpkg to run ldconfig once after all packages are unpacked.
file(WRITE ${debian_docs}/triggers "activate-noawait ldconfig\n")
if(gzip_failed)
    message(FATAL_ERROR "gzip failed on ${debian_docs}/changelog.Debian")
endif()

# component: package name, section, description (first line the synopsis).
set(runtime_package ${library_package})
set(runtime_section libs)
set(runtime_description "client library for the analysed-data service
anadata reads, writes and exchanges the analysed data sets of an experiment
that runs in numbered shots: columns of numbers over a grid of named dimensions
with units, kept as self-describing text files or binary dumps and moved to and
from the analysed-data service over SOAP 1.1/HTTP(S).
This package holds the shared library, for C++, C and Fortran programs.")
set(development_package libanadata-dev)
set(development_section libdevel)
set(development_description "client library for the analysed-data service - development files
anadata reads, writes and exchanges the analysed data sets of an experiment
that runs in numbered shots.
This package holds the C++ and C headers, the Fortran include file, the CMake
package (find_package(anadata)) and the pkg-config file.")
set(tools_package anadata-tools)
set(tools_section science)
set(tools_description "command-line tool for the analysed-data service
The anadata tool shows and converts data files, exports their numbers as CSV
or numpy arrays, and fetches, registers, searches and deletes data sets on the
analysed-data service.")
set(server_package anadata-server)
set(server_section net)
set(server_description "reference analysed-data service
anadata-server is a complete local analysed-data service over one store
directory: SQLite catalogue, accounts with salted password hashes, experiment
log from a CSV file, audit trail, http or https.")
set(python_package python3-anadata)
set(python_section python)
set(python_description "Python interface to the analysed-data service
The anadata package gives records with numpy views of their columns, both
file formats, sessions with the analysed-data service and xarray datasets.")

foreach(component IN LISTS components)
    string(TOUPPER ${component} upper)
    set(package ${${component}_package})
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${${component}_section})
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${${component}_description}")
    install(FILES ${debian_docs}/copyright ${debian_docs}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME anadata)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${ANADATA_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${ANADATA_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the library of the packages being built here; libanadata1 itself is named
# by the packages' own dependencies below, and its shlibs file serves packages built elsewhere.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/library)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian_docs}/triggers)
# The service's system user (the systemd unit's User=) is made by the package, never removed: files
# in /var/lib/anadata may outlive the package.
file(COPY ${PROJECT_SOURCE_DIR}/cmake/debian-server-postinst DESTINATION ${debian_docs}/server)
file(RENAME ${debian_docs}/server/debian-server-postinst ${debian_docs}/server/postinst)
set(CPACK_DEBIAN_SERVER_PACKAGE_CONTROL_EXTRA ${debian_docs}/server/postinst)
set(CPACK_DEBIAN_SERVER_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)
if(TARGET anadata_python)
    # The extension is built for one interpreter version: python3 of exactly that version.
    execute_process(COMMAND ${Python3_EXECUTABLE} -c "import sys; print(sys.version_info[1])"
                    OUTPUT_VARIABLE minor OUTPUT_STRIP_TRAILING_WHITESPACE)
    math(EXPR next_minor "${minor} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.${minor}~), python3 (<< 3.${next_minor}), python3-numpy")
endif()
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-xarray)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-matplotlib)
# Debian's own Python packages live in /usr/lib/python3/dist-packages, not in the versioned directory
# a plain install under /usr/local uses; the script moves the staged package there.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/cpack-python-layout.cmake)
include(CPack)
# cpack (and make install) would first build everything, the tests too; the target below builds
# only what the packages hold.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

add_custom_target(deb
    COMMAND ${CMAKE_CPACK_COMMAND} -G DEB --config ${PROJECT_BINARY_DIR}/CPackConfig.cmake
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    COMMENT "Debian packages in ${CPACK_PACKAGE_DIRECTORY}"
    VERBATIM)
foreach(target anadata anadata-tool anadata-server anadata_python man_anadata.1 man_anadata-server.8)
    if(TARGET ${target})
        add_dependencies(deb ${target})
    endif()
endforeach()
