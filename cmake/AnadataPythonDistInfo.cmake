# The Python package as an installed distribution: anadata-<version>.dist-info beside the package, whose
# entry point gives xarray its "anadata" engine (xr.open_dataset(path, engine="anadata")).

# anadata_python_dist_info(BUILD_DIR <dir> [INSTALL_DIR <dir relative to the prefix>] TARGET <extension>
#                          FILES <package files relative to INSTALL_DIR>...)
# Writes METADATA and entry_points.txt into BUILD_DIR/anadata-<version>.dist-info, so that
# PYTHONPATH=BUILD_DIR finds the engine by name; with INSTALL_DIR, installs them there (component
# python) with INSTALLER and a RECORD of the package's files and the extension TARGET.
function(anadata_python_dist_info)
    cmake_parse_arguments(ARG "" "BUILD_DIR;INSTALL_DIR;TARGET" "FILES" ${ARGN})
    set(name anadata-${PROJECT_VERSION}.dist-info)
    set(dir ${ARG_BUILD_DIR}/${name})
    set(python_version ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR})
    file(CONFIGURE OUTPUT ${dir}/METADATA CONTENT [[
Metadata-Version: 2.1
Name: anadata
Version: @PROJECT_VERSION@
Summary: Analysed data of a shot-numbered experiment: records with numpy views, files, the service, xarray
Requires-Python: ==@python_version@.*
Requires-Dist: numpy
Provides-Extra: xarray
Requires-Dist: xarray; extra == "xarray"
Provides-Extra: dask
Requires-Dist: xarray; extra == "dask"
Requires-Dist: dask[array]; extra == "dask"
]] @ONLY)
    file(CONFIGURE OUTPUT ${dir}/entry_points.txt CONTENT [[
[xarray.backends]
anadata = anadata.xarray_backend:AnadataBackendEntrypoint
]])
    if(NOT ARG_INSTALL_DIR)
        return()
    endif()
    # INSTALLER and RECORD belong to the install only (a wheel brings its own RECORD, pip its INSTALLER),
    # so they stay out of the build tree's dist-info.
    set(install_only ${CMAKE_CURRENT_BINARY_DIR}/dist-info-install)
    file(CONFIGURE OUTPUT ${install_only}/INSTALLER CONTENT "cmake\n")
    set(record "")
    foreach(file ${ARG_FILES} anadata/$<TARGET_FILE_NAME:${ARG_TARGET}>)
        string(APPEND record "${file},,\n")
    endforeach()
    foreach(file METADATA entry_points.txt INSTALLER RECORD)
        string(APPEND record "${name}/${file},,\n")
    endforeach()
    file(GENERATE OUTPUT ${install_only}/RECORD CONTENT "${record}")
    install(FILES ${dir}/METADATA ${dir}/entry_points.txt ${install_only}/INSTALLER ${install_only}/RECORD
            DESTINATION ${ARG_INSTALL_DIR}/${name} COMPONENT python)
endfunction()
