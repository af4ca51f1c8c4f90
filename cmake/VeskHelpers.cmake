# SPDX-License-Identifier: MIT
# Sources are globbed per folder so that adding a file needs no CMake edit.
function(vesk_glob_sources out)
    set(files)
    foreach(dir IN LISTS ARGN)
        file(GLOB_RECURSE found CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${dir}/*.cpp")
        list(APPEND files ${found})
    endforeach()
    set(${out} ${files} PARENT_SCOPE)
endfunction()

# vesk_add_component(NAME <name> DIRS <dirs...> [DEPS <targets...>])
# A static library vesk_<name> with alias vesk4710::<name>.
function(vesk_add_component)
    cmake_parse_arguments(A "" "NAME" "DIRS;DEPS" ${ARGN})
    vesk_glob_sources(srcs ${A_DIRS})
    if(NOT srcs)
        add_library(vesk_${A_NAME} INTERFACE)
        target_link_libraries(vesk_${A_NAME} INTERFACE ${A_DEPS})
    else()
        add_library(vesk_${A_NAME} STATIC ${srcs})
        target_include_directories(vesk_${A_NAME} PUBLIC ${PROJECT_SOURCE_DIR})
        target_link_libraries(vesk_${A_NAME} PUBLIC ${A_DEPS} PRIVATE vesk_warnings)
    endif()
    add_library(vesk4710::${A_NAME} ALIAS vesk_${A_NAME})
endfunction()

# vesk_add_test(FOLDER <folder> LIBS <targets...> LABELS <labels...> [LOCALES <locales...>])
# One GoogleTest executable per folder under tests/; with LOCALES its cases run once per locale.
function(vesk_add_test)
    cmake_parse_arguments(A "SERIAL" "FOLDER" "LIBS;LABELS;LOCALES" ${ARGN})
    file(GLOB_RECURSE srcs CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${A_FOLDER}/*.cpp")
    if(NOT srcs)
        return()
    endif()
    string(REPLACE "/" "_" exe "test_${A_FOLDER}")
    add_executable(${exe} ${srcs})
    target_link_libraries(${exe} PRIVATE ${A_LIBS} vesk_testsupport vesk_warnings)
    if(NOT A_LOCALES)
        set(A_LOCALES C.UTF-8)
    endif()
    # Timing-sensitive suites (time-outs of tens of milliseconds) run alone.
    set(serial FALSE)
    if(A_SERIAL)
        set(serial TRUE)
    endif()
    foreach(loc IN LISTS A_LOCALES)
        gtest_discover_tests(${exe}
            TEST_PREFIX "${A_FOLDER}[${loc}]."
            DISCOVERY_MODE PRE_TEST
            DISCOVERY_TIMEOUT 60
            PROPERTIES LABELS "${A_LABELS}" ENVIRONMENT "LC_ALL=${loc}\\;VESK_TEST_LOCALE=${loc}"
                       TIMEOUT 120 RUN_SERIAL ${serial})
    endforeach()
endfunction()
