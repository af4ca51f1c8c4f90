# Debian packages by CPack, one per install component:
#   libvesk4710-<soversion>  the shared library
#   libvesk4710-dev          headers, static components, CMake package, pkg-config files, docs
#   vesk4710-tools           vesk4710 and vesk4710-sim
#   python3-vesk4710         the Python module
#   vesk4710-gui             the desktop application (when built)
# Configure with -DCMAKE_INSTALL_PREFIX=/usr so that the library and the Python module land in
# Debian's paths (multiarch libdir, /usr/lib/python3/dist-packages); then run cpack.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(STATUS "Debian packages follow Debian's layout only with -DCMAKE_INSTALL_PREFIX=/usr")
endif()

# A package's summary line, then its long description (no semicolons: they split lists).
function(vesk_describe component summary)
    string(CONCAT text ${ARGN})
    set(CPACK_COMPONENT_${component}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vesk4710)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "vesk4710 developers")
set(CPACK_PACKAGE_CONTACT "vesk4710 developers <maintainers@vesk4710.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The library's own package answers for libvesk4710.so.N when the others are analysed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/vesk4710)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION science)

set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvesk4710-${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
vesk_describe(RUNTIME "Driver library for the Vesk Scientific 4710 thermometer readout"
    "Opens a session on the instrument over a serial port, a TCP serial server or the embedded "
    "simulator, reads and changes its settings, takes readings and downloads logs.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvesk4710-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The exported CMake package asks for these; the static components link them.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libfmt-dev, nlohmann-json3-dev")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
vesk_describe(DEV "Development files of the vesk4710 driver library"
    "Headers, the default host components, the CMake package (find_package(vesk4710)), pkg-config "
    "files (vesk4710, vesk4710-host), examples and documentation.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vesk4710-tools)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
vesk_describe(TOOLS "Command-line tool and simulator for the Vesk Scientific 4710"
    "vesk4710 reads and changes the instrument's settings, takes readings and downloads logs. "
    "vesk4710-sim serves a simulated instrument on a pseudo-terminal or a TCP port.")

if(TARGET vesk4710_py)
    list(APPEND CPACK_COMPONENTS_ALL python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vesk4710)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3")
    set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)
    vesk_describe(PYTHON "Python bindings of the vesk4710 driver library"
        "The instrument, module and channel objects of vesk4710 for Python 3.")
endif()

if(TARGET vesk4710-gui)
    list(APPEND CPACK_COMPONENTS_ALL gui)
    set(CPACK_DEBIAN_GUI_PACKAGE_NAME vesk4710-gui)
    set(CPACK_COMPONENT_GUI_DEPENDS runtime)
    # Qt loads its SVG plugin at run time, for the window icon: no library dependency shows it.
    set(CPACK_DEBIAN_GUI_PACKAGE_RECOMMENDS "libqt6svg6")
    vesk_describe(GUI "Desktop application for the Vesk Scientific 4710"
        "Shows the instrument's channels as they read and edits its settings.")
endif()

include(CPack)
