# SPDX-License-Identifier: MIT
# Install rules, the exported CMake package, pkg-config files, the Debian packages (CPack) and
# the API reference target. Included once, at the end of the top-level CMakeLists.txt, so that
# every target it installs already exists.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VESK_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vesk4710 CACHE STRING
    "Where the CMake package files go, relative to the prefix")
set(VESK_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig CACHE STRING
    "Where the pkg-config files go, relative to the prefix")
# Component headers keep their repository paths ("host/DefaultHost.h") below a
# folder of their own, so they cannot clash with anything else in the include folder.
set(VESK_COMPONENT_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/vesk4710)

# Debian's python3 looks in /usr/lib/python3/dist-packages for packaged modules and in
# /usr/local/lib/python3.X/dist-packages for local installs.
if(NOT DEFINED VESK_INSTALL_PYTHONDIR)
    set(_vesk_pydir lib/python3/dist-packages)
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        execute_process(
            COMMAND /usr/bin/python3 -c "import sys; print('%d.%d' % sys.version_info[:2])"
            OUTPUT_VARIABLE _vesk_pyver OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        if(_vesk_pyver)
            set(_vesk_pydir lib/python${_vesk_pyver}/dist-packages)
        endif()
    endif()
    set(VESK_INSTALL_PYTHONDIR ${_vesk_pydir} CACHE STRING
        "Where the Python module goes, relative to the prefix")
endif()

# Installed programs and the Python module find the library relative to themselves, so an
# install under any prefix runs without LD_LIBRARY_PATH.
file(RELATIVE_PATH _vesk_bin_to_lib /p/${CMAKE_INSTALL_BINDIR} /p/${CMAKE_INSTALL_LIBDIR})
file(RELATIVE_PATH _vesk_py_to_lib /p/${VESK_INSTALL_PYTHONDIR} /p/${CMAKE_INSTALL_LIBDIR})

# The static components carry their folder as an absolute include path and the warning flags
# as a private link item; neither may leak into the installed package.
function(vesk_prepare_export target export_name)
    get_target_property(type ${target} TYPE)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${export_name})
    if(type STREQUAL "INTERFACE_LIBRARY")
        return()
    endif()
    get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
    set(fixed)
    foreach(dir IN LISTS dirs)
        if(dir MATCHES "^\\$<" OR NOT IS_ABSOLUTE "${dir}")
            list(APPEND fixed "${dir}")
        else()
            list(APPEND fixed "$<BUILD_INTERFACE:${dir}>")
        endif()
    endforeach()
    list(APPEND fixed "$<INSTALL_INTERFACE:${VESK_COMPONENT_INCLUDEDIR}>")
    set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${fixed}")
    get_target_property(libs ${target} INTERFACE_LINK_LIBRARIES)
    if(libs)
        list(REMOVE_ITEM libs "$<LINK_ONLY:vesk_warnings>" vesk_warnings)
        set_target_properties(${target} PROPERTIES INTERFACE_LINK_LIBRARIES "${libs}")
    endif()
endfunction()

# --- the library --------------------------------------------------------------------------
install(TARGETS vesk4710 EXPORT vesk4710Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# --- the components a client needs to make the default host ------------------------------
# Listed in link order for the pkg-config file: each before the ones it uses.
set(VESK_HOST_COMPONENTS host console simulator filesystem outputfile readingfile comm registry
    splitter probes)
set(_vesk_dir_host host)
set(_vesk_dir_filesystem components/filesystem)
set(_vesk_dir_console ui/console)
set(_vesk_dir_simulator simulator)
set(_vesk_dir_outputfile components/outputfile)
set(_vesk_dir_readingfile components/readingfile)
set(_vesk_dir_comm components/comm)
set(_vesk_dir_registry components/registry)
set(_vesk_dir_splitter components/splitter)
set(_vesk_dir_probes components/probes)
set(VESK_HOST_LIBS)
foreach(name IN LISTS VESK_HOST_COMPONENTS)
    vesk_prepare_export(vesk_${name} ${name})
    install(TARGETS vesk_${name} EXPORT vesk4710Targets
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
    set(dir ${_vesk_dir_${name}})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir}/ DESTINATION ${VESK_COMPONENT_INCLUDEDIR}/${dir}
            COMPONENT dev FILES_MATCHING PATTERN "*.h" PATTERN "*Internal.h" EXCLUDE
            PATTERN "data" EXCLUDE)
    file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/${dir}/*.h)
    list(FILTER headers EXCLUDE REGEX "Internal\\.h$")
    list(APPEND _vesk_installed_component_headers ${headers})
    get_target_property(type vesk_${name} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        string(APPEND VESK_HOST_LIBS " -l$<TARGET_FILE_BASE_NAME:vesk_${name}>")
    endif()
endforeach()

install(EXPORT vesk4710Targets NAMESPACE vesk4710:: DESTINATION ${VESK_INSTALL_CMAKEDIR}
        FILE vesk4710Targets.cmake COMPONENT dev)

# The Qt binding: an optional part of the package (find_package(vesk4710 COMPONENTS qt)),
# so that clients without Qt are not asked for it.
if(TARGET vesk_qt)
    vesk_prepare_export(vesk_qt qt)
    install(TARGETS vesk_qt EXPORT vesk4710QtTargets
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/ui/qt/ DESTINATION ${VESK_COMPONENT_INCLUDEDIR}/ui/qt
            COMPONENT dev FILES_MATCHING PATTERN "*.h")
    file(GLOB headers RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/ui/qt/*.h)
    list(APPEND _vesk_installed_component_headers ${headers})
    install(EXPORT vesk4710QtTargets NAMESPACE vesk4710:: DESTINATION ${VESK_INSTALL_CMAKEDIR}
            FILE vesk4710QtTargets.cmake COMPONENT dev)
endif()

# The library's installed headers are its public API: the object classes, enumerations,
# automation values, late-bound dispatch and platform interfaces, and what the installed
# component headers (the default host, the Qt binding) include of it. Internals (string ids,
# transfer helpers, dispatch templates, dialog helpers) stay in the source tree.
set(_vesk_public_roots core/CVesk4710.h modules/CVesk4710Card.h channel/CVesk4710Channel.h
    support/AutomationError.h support/Variant.h support/Date.h support/Dispatch.h
    support/Version.h logging/LogDownload.h)
list(TRANSFORM _vesk_public_roots PREPEND vesk4710/)
file(GLOB _vesk_platform RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/vesk4710/platform/*.h)
set(_vesk_todo ${_vesk_public_roots} ${_vesk_platform} ${_vesk_installed_component_headers})
set(_vesk_seen)
while(_vesk_todo)
    list(POP_FRONT _vesk_todo header)
    if(header IN_LIST _vesk_seen OR NOT EXISTS ${PROJECT_SOURCE_DIR}/${header})
        continue()
    endif()
    list(APPEND _vesk_seen ${header})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${header} _vesk_includes REGEX "^#include \"[^\"]+\"")
    foreach(line IN LISTS _vesk_includes)
        string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
        list(APPEND _vesk_todo ${included})
    endforeach()
endwhile()
foreach(header IN LISTS _vesk_seen)
    if(header MATCHES "^vesk4710/")
        get_filename_component(dir ${header} DIRECTORY)
        install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${dir}
                COMPONENT dev)
    endif()
endforeach()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_vesk_seen})

# install --strip (and cpack) leaves static archives alone: their debug information is most of
# their size, and no client debugs into them from a package.
install(CODE "if(CMAKE_INSTALL_DO_STRIP)
                  file(GLOB archives \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libvesk_*.a\")
                  foreach(archive IN LISTS archives)
                      execute_process(COMMAND ${CMAKE_STRIP} --strip-debug \${archive}
                                      COMMAND_ERROR_IS_FATAL ANY)
                  endforeach()
              endif()" COMPONENT dev)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/vesk4710Config.cmake.in
    ${PROJECT_BINARY_DIR}/packaging/vesk4710Config.cmake
    INSTALL_DESTINATION ${VESK_INSTALL_CMAKEDIR})
# 0.x releases are compatible within one minor version only.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/vesk4710ConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/vesk4710Config.cmake
              ${PROJECT_BINARY_DIR}/packaging/vesk4710ConfigVersion.cmake
        DESTINATION ${VESK_INSTALL_CMAKEDIR} COMPONENT dev)

# --- pkg-config: relocatable, the prefix is found from the file's own place -------------
file(RELATIVE_PATH VESK_PC_TO_PREFIX /p/${VESK_INSTALL_PKGCONFIGDIR} /p)
string(REGEX REPLACE "/$" "" VESK_PC_TO_PREFIX "${VESK_PC_TO_PREFIX}")
foreach(pc vesk4710 vesk4710-host)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/packaging/${pc}.pc.in
                   @ONLY)
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/packaging/${pc}.pc
         INPUT ${PROJECT_BINARY_DIR}/packaging/${pc}.pc.in)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/${pc}.pc DESTINATION ${VESK_INSTALL_PKGCONFIGDIR}
            COMPONENT dev)
endforeach()

# --- programs ----------------------------------------------------------------------------
foreach(program vesk4710-cli vesk4710-sim)
    if(TARGET ${program})
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${_vesk_bin_to_lib}")
        install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    endif()
endforeach()
if(TARGET vesk4710-gui)
    set_target_properties(vesk4710-gui PROPERTIES INSTALL_RPATH "$ORIGIN/${_vesk_bin_to_lib}")
    install(TARGETS vesk4710-gui RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT gui)
    # The help (built from docs/) with its pictures, where the application looks for it.
    install(FILES ${PROJECT_BINARY_DIR}/vesk4710/vesk4710-help.html
            DESTINATION ${CMAKE_INSTALL_DATADIR}/vesk4710/help COMPONENT gui)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/images/
            DESTINATION ${CMAKE_INSTALL_DATADIR}/vesk4710/help/images COMPONENT gui)
    # The desktop's menu entry and icon.
    install(FILES ${PROJECT_SOURCE_DIR}/apps/vesk4710-gui/data/vesk4710-gui.desktop
            DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT gui)
    install(FILES ${PROJECT_SOURCE_DIR}/apps/vesk4710-gui/data/vesk4710-gui.svg
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT gui)
endif()

# The desktop application's catalogue entry (software centres), matching its .desktop entry.
if(TARGET vesk4710-gui)
    install(FILES ${PROJECT_SOURCE_DIR}/apps/vesk4710-gui/data/vesk4710-gui.metainfo.xml
            DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT gui)
endif()

# --- the Python module and its stubs -----------------------------------------------------
if(TARGET vesk4710_py)
    set_target_properties(vesk4710_py PROPERTIES INSTALL_RPATH "$ORIGIN/${_vesk_py_to_lib}")
    # The folder follows the prefix given at install time: the packages install under /usr
    # whatever prefix this tree was configured with. Both folders are three levels deep, so
    # the run path above holds for either.
    install(CODE "if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
                      set(VESK_PYTHONDIR lib/python3/dist-packages)
                  else()
                      set(VESK_PYTHONDIR ${VESK_INSTALL_PYTHONDIR})
                  endif()" COMPONENT python)
    install(TARGETS vesk4710_py LIBRARY DESTINATION \${VESK_PYTHONDIR} COMPONENT python)
    install(FILES ${PROJECT_BINARY_DIR}/python/vesk4710.pyi DESTINATION \${VESK_PYTHONDIR}
            COMPONENT python)
endif()

# The user's documentation goes with the tools; the examples with the development files.
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
        COMPONENT dev)

include(${CMAKE_CURRENT_LIST_DIR}/Manuals.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Packaging.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Docs.cmake)
