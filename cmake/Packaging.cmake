# SPDX-License-Identifier: MIT
# Debian packages by CPack, one per install component, installing under /usr whatever prefix
# this tree was configured with (scripts/package makes them from the default build tree):
#   libvesk4710-<soversion>  the shared library
#   libvesk4710-dev          headers, the default host components (static, their debug
#                            information stripped), CMake package, pkg-config files, examples
#   vesk4710-tools           vesk4710 (with the recorder and its systemd unit), vesk4710-sim,
#                            the documentation
#   python3-vesk4710         the Python module, for the Python it was built with
#   vesk4710-gui             the desktop application (when built)
# The desktop application's model and window, the recorder and the statistics are static parts
# of the programs and are not shipped on their own.

set(VESK_PACKAGE_MAINTAINER "The vesk4710 authors <vesk4710@example.org>" CACHE STRING
    "Maintainer field of the Debian packages: Name <address>")
set(VESK_PACKAGE_RELEASE 1 CACHE STRING "Debian revision of the packages")
set(VESK_DEB_VERSION ${PROJECT_VERSION}-${VESK_PACKAGE_RELEASE})

# A package's summary line, then its long description, wrapped as dpkg shows it (no
# semicolons: they split lists).
function(vesk_describe component summary)
    string(CONCAT text ${ARGN})
    string(REPLACE " " ";" words "${text}")
    set(wrapped "")
    set(line "")
    foreach(word IN LISTS words)
        string(LENGTH "${line} ${word}" length)
        if(line STREQUAL "")
            set(line "${word}")
        elseif(length GREATER 78)
            string(APPEND wrapped "\n${line}")
            set(line "${word}")
        else()
            string(APPEND line " ${word}")
        endif()
    endforeach()
    set(CPACK_COMPONENT_${component}_DESCRIPTION "${summary}${wrapped}\n${line}" PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vesk4710)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VESK_PACKAGE_RELEASE})
set(CPACK_PACKAGE_VENDOR "The vesk4710 authors")
set(CPACK_PACKAGE_CONTACT "${VESK_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VESK_PACKAGE_MAINTAINER}")
# The install rules see CMAKE_INSTALL_PREFIX=/usr and a staging DESTDIR, so that rules that
# depend on the prefix (the Python folder) take Debian's places.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The library's own package answers for libvesk4710.so.N when the others are analysed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/vesk4710)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(VESK_DEB_RUNTIME libvesk4710-${VESK_SOVERSION})
set(VESK_DEB_DEV libvesk4710-dev)
set(VESK_DEB_TOOLS vesk4710-tools)
set(VESK_DEB_PYTHON python3-vesk4710)
set(VESK_DEB_GUI vesk4710-gui)

set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${VESK_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# shlibs for the packages that link the library, and the ldconfig trigger (CPack adds
# ldconfig calls in postinst and postrm as well).
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
vesk_describe(RUNTIME "Driver library for the Vesk Scientific 4710 thermometer readout"
    "Opens a session on the instrument over a serial port, a TCP serial server or the embedded "
    "simulator, reads and changes its settings, takes readings and downloads logs.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${VESK_DEB_DEV})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The exported CMake package asks for these; the static components link them.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libfmt-dev, nlohmann-json3-dev")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "pkg-config, cmake, qt6-base-dev")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
vesk_describe(DEV "Development files of the vesk4710 driver library"
    "Headers, the default host components, the CMake package (find_package(vesk4710)), pkg-config "
    "files (vesk4710, vesk4710-host) and examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${VESK_DEB_TOOLS})
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
vesk_describe(TOOLS "Command-line tool, recorder and simulator for the Vesk Scientific 4710"
    "vesk4710 reads and changes the instrument's settings, takes readings, downloads logs and "
    "records readings into a database (a systemd unit runs the recorder as a service). "
    "vesk4710-sim serves a simulated instrument on a pseudo-terminal or a TCP port.")

if(TARGET vesk4710_py)
    list(APPEND CPACK_COMPONENTS_ALL python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME ${VESK_DEB_PYTHON})
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    # The module is built for one Python (its file name says which: cpython-311).
    get_target_property(_vesk_py_suffix vesk4710_py SUFFIX)
    if(_vesk_py_suffix MATCHES "cpython-3([0-9]+)")
        math(EXPR _vesk_py_next "${CMAKE_MATCH_1} + 1")
        set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
            "python3 (>= 3.${CMAKE_MATCH_1}~), python3 (<< 3.${_vesk_py_next})")
    else()
        message(FATAL_ERROR "cannot tell the Python version from the module suffix "
                            "'${_vesk_py_suffix}'")
    endif()
    set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)
    vesk_describe(PYTHON "Python bindings of the vesk4710 driver library"
        "The instrument, module and channel objects of vesk4710 for Python 3.")
endif()

if(TARGET vesk4710-gui)
    list(APPEND CPACK_COMPONENTS_ALL gui)
    set(CPACK_DEBIAN_GUI_PACKAGE_NAME ${VESK_DEB_GUI})
    set(CPACK_COMPONENT_GUI_DEPENDS runtime)
    # Qt loads its SVG plugin at run time, for the window icon: no library dependency shows it.
    set(CPACK_DEBIAN_GUI_PACKAGE_RECOMMENDS "libqt6svg6")
    vesk_describe(GUI "Desktop application for the Vesk Scientific 4710"
        "Shows the instrument's channels as they read and edits its settings.")
endif()

# Every package carries the licence (machine-readable) and the changelog in its own folder.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE _vesk_license)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" _ "${_vesk_license}")
set(VESK_COPYRIGHT "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^.*\nPermission" "Permission" _vesk_license "${_vesk_license}")
string(STRIP "${_vesk_license}" _vesk_license)
string(REPLACE "\n\n" "\n.\n" _vesk_license "${_vesk_license}")
string(REPLACE "\n" "\n " VESK_LICENSE_TEXT " ${_vesk_license}")
set(_vesk_debian ${PROJECT_BINARY_DIR}/packaging/debian)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in ${_vesk_debian}/copyright @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${_vesk_debian}/changelog @ONLY)
add_custom_command(OUTPUT ${_vesk_debian}/changelog.Debian.gz
    COMMAND ${CMAKE_COMMAND} -E copy ${_vesk_debian}/changelog ${_vesk_debian}/changelog.Debian
    COMMAND gzip -9nf ${_vesk_debian}/changelog.Debian
    DEPENDS ${_vesk_debian}/changelog
    VERBATIM)
add_custom_target(vesk4710-changelog ALL DEPENDS ${_vesk_debian}/changelog.Debian.gz)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    install(FILES ${_vesk_debian}/copyright ${_vesk_debian}/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${VESK_DEB_${upper}} COMPONENT ${component})
endforeach()

include(CPack)
