# add_manual_page(NAME COMPONENT): makes NAME.1 from NAME.1.scd of this folder and installs it with the component.
find_program(SCDOC scdoc)
if(NOT SCDOC)
    message(STATUS "Manual pages skipped: need scdoc")
endif()

function(add_manual_page name component)
    if(NOT SCDOC)
        return()
    endif()
    set(manual ${CMAKE_CURRENT_BINARY_DIR}/${name}.1)
    # gzip -n leaves out name and time, so that the same text gives the same file.
    add_custom_command(OUTPUT ${manual} ${manual}.gz
        COMMAND ${SCDOC} < ${CMAKE_CURRENT_SOURCE_DIR}/${name}.1.scd > ${manual}
        COMMAND gzip -9nkf ${manual}
        DEPENDS ${name}.1.scd
        VERBATIM)
    add_custom_target(${name}_manual ALL DEPENDS ${manual}.gz)
    install(FILES ${manual}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()
