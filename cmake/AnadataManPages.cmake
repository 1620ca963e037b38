# anadata_install_man_page(<page.N> COMPONENT <component>): installs a hand-written manual page,
# compressed as Debian wants it (gzip -9n: no name, no time stamp, so equal builds give equal files).
function(anadata_install_man_page page)
    cmake_parse_arguments(ARG "" "COMPONENT" "" ${ARGN})
    get_filename_component(name ${page} NAME)
    string(REGEX MATCH "[1-9]$" section ${name})
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
    add_custom_command(OUTPUT ${compressed}
        COMMAND sh -c "gzip -9n -c \"$0\" > \"$1\"" ${CMAKE_CURRENT_SOURCE_DIR}/${page} ${compressed}
        DEPENDS ${page}
        VERBATIM)
    add_custom_target(man_${name} ALL DEPENDS ${compressed})
    if(ANADATA_INSTALL)
        install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${ARG_COMPONENT})
    endif()
endfunction()
