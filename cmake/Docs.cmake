# SPDX-License-Identifier: MIT
# The API reference: `cmake --build <dir> --target docs` runs Doxygen over the public headers
# into <dir>/docs/api/html, failing on any warning. Not part of `all`: not every build needs it.
# With -DVESK_DOCS_STRICT=ON every undocumented public member is a warning too.
option(VESK_DOCS_STRICT "The docs target fails on undocumented public members" OFF)
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
    set(VESK_DOXYGEN_INPUT "${PROJECT_SOURCE_DIR}/vesk4710")
    set(VESK_DOXYGEN_OUTPUT "${PROJECT_BINARY_DIR}/docs/api")
    set(VESK_DOXYGEN_FILTER "/usr/bin/python3 ${PROJECT_SOURCE_DIR}/docs/doxygen_filter.py")
    if(VESK_DOCS_STRICT)
        set(VESK_DOXYGEN_EXTRACT_ALL NO)
    else()
        set(VESK_DOXYGEN_EXTRACT_ALL YES)
    endif()
    configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/docs/Doxyfile @ONLY)
    add_custom_target(docs
        COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/docs/Doxyfile
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        COMMENT "Building the API reference with Doxygen"
        VERBATIM)
    if(VESK_BUILD_TESTS)
        # The same run as the target, so a header that breaks the reference fails the tests.
        add_test(NAME docs.api COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/docs/Doxyfile
                 WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
        set_tests_properties(docs.api PROPERTIES LABELS docs TIMEOUT 180)
    endif()
else()
    message(STATUS "Doxygen not found: the docs target is not available")
endif()
