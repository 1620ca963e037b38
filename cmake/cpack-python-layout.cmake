# Run by CPack before it packs the staged files (CPACK_PRE_BUILD_SCRIPTS): moves the Python package
# from lib/python3.X/dist-packages, where a plain install puts it for Debian's interpreter under
# /usr/local, to lib/python3/dist-packages, where Debian's own Python packages live. The extension's
# $ORIGIN path to the library stays right: both places are as deep.
file(GLOB staged LIST_DIRECTORIES true "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/lib/python3.*/dist-packages"
                                      "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/lib/python3.*/dist-packages")
foreach(versioned IN LISTS staged)
    get_filename_component(lib ${versioned} DIRECTORY)
    get_filename_component(lib ${lib} DIRECTORY)
    file(MAKE_DIRECTORY ${lib}/python3)
    file(RENAME ${versioned} ${lib}/python3/dist-packages)
    get_filename_component(versioned_parent ${versioned} DIRECTORY)
    file(GLOB left ${versioned_parent}/*)
    if(NOT left)
        file(REMOVE_RECURSE ${versioned_parent})
    endif()
endforeach()
