# SPDX-License-Identifier: MIT
# Man pages made from each program's --help by help2man at build time, and the bash
# completion; both installed with the program they describe.
find_program(VESK_HELP2MAN help2man)
find_program(VESK_GZIP gzip)
if(NOT VESK_HELP2MAN OR NOT VESK_GZIP)
    message(STATUS "help2man or gzip not found: no man pages (scripts/setup installs them)")
endif()

set(VESK_MAN_DIR ${PROJECT_BINARY_DIR}/man)
set(VESK_BASH_COMPLETION_DIR ${CMAKE_INSTALL_DATADIR}/bash-completion/completions CACHE STRING
    "Where the bash completion goes, relative to the prefix")

# vesk_manual(TARGET PROGRAM "what it is" COMPONENT)
function(vesk_manual target program summary component)
    if(NOT TARGET ${target})
        return()
    endif()
    if(VESK_HELP2MAN AND VESK_GZIP)
        set(page ${VESK_MAN_DIR}/${program}.1)
        # A fixed environment: the page must not depend on who builds it. gzip -n leaves out
        # the time stamp, so that the page is the same in every build.
        add_custom_command(OUTPUT ${page}.gz
            COMMAND ${CMAKE_COMMAND} -E make_directory ${VESK_MAN_DIR}
            COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 HOME=/nonexistent
                    ${VESK_HELP2MAN} --no-info --section=1 --source=vesk4710
                    --name=${summary} --output=${page} $<TARGET_FILE:${target}>
            COMMAND ${VESK_GZIP} -9nf ${page}
            DEPENDS ${target}
            COMMENT "Man page of ${program}"
            VERBATIM)
        add_custom_target(${program}-man ALL DEPENDS ${page}.gz)
        install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
    endif()
    # bash-completion loads a command's completion from the file of its name.
    install(FILES ${PROJECT_SOURCE_DIR}/apps/completion/vesk4710.bash
            DESTINATION ${VESK_BASH_COMPLETION_DIR} RENAME ${program} COMPONENT ${component})
endfunction()

vesk_manual(vesk4710-cli vesk4710 "command-line tool for the Vesk Scientific 4710 readout" tools)
vesk_manual(vesk4710-sim vesk4710-sim "simulated Vesk Scientific 4710 on a terminal or TCP port"
            tools)
vesk_manual(vesk4710-gui vesk4710-gui "desktop application for the Vesk Scientific 4710" gui)
