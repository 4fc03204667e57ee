# GoogleTest: the installed package if there is one for the target, else (cross builds) its source package.

include(GoogleTest)
if(NOT CMAKE_CROSSCOMPILING)
    find_package(GTest REQUIRED)
else()
    set(QOR_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Source tree of GoogleTest for cross builds")
    set(INSTALL_GTEST OFF)
    add_subdirectory(${QOR_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    target_compile_options(gtest PRIVATE -w)
    target_compile_options(gtest_main PRIVATE -w)
    if(NOT TARGET GTest::gtest_main)
        add_library(GTest::gtest ALIAS gtest)
        add_library(GTest::gtest_main ALIAS gtest_main)
    endif()
endif()

# A test runs for milliseconds but compiles for seconds, so the tests' own code is optimised little and has only line
# numbers as debug information. The code under test keeps the flags that it ships with.
set(QOR_TEST_OPTIONS)
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(QOR_TEST_OPTIONS -O1 -g1)
endif()
if(QOR_BUILD_FUZZERS)
    list(APPEND QOR_TEST_OPTIONS -fno-sanitize=fuzzer-no-link)  # the fuzzer never runs them
endif()

# GoogleTest's header once for all tests. A compiler cache saves more, and seldom works with precompiled headers.
add_executable(gtest_header ${CMAKE_CURRENT_LIST_DIR}/gtest_header.cpp)
target_link_libraries(gtest_header PRIVATE GTest::gtest)
target_compile_options(gtest_header PRIVATE ${QOR_TEST_OPTIONS})
if(NOT CMAKE_CXX_COMPILER_LAUNCHER MATCHES "ccache")
    target_precompile_headers(gtest_header PRIVATE <gtest/gtest.h>)
endif()

# qor_add_test(NAME sources... LIBRARIES libraries...): one test program, each of its tests known to CTest.
function(qor_add_test name)
    cmake_parse_arguments(ARG "" "" "LIBRARIES" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main)
    target_compile_options(${name} PRIVATE ${QOR_TEST_OPTIONS})
    if(NOT CMAKE_CXX_COMPILER_LAUNCHER MATCHES "ccache")
        target_precompile_headers(${name} REUSE_FROM gtest_header)
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
endfunction()
