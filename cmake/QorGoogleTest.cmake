# GoogleTest: the installed package where there is one for the target, else (cross builds) its source package.

include(GoogleTest)
if(NOT CMAKE_CROSSCOMPILING)
    find_package(GTest REQUIRED)
else()
    set(QOR_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Source tree of GoogleTest for cross builds")
    set(INSTALL_GTEST OFF)
    add_subdirectory(${QOR_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    if(NOT TARGET GTest::gtest_main)
        add_library(GTest::gtest ALIAS gtest)
        add_library(GTest::gtest_main ALIAS gtest_main)
    endif()
endif()

# qor_add_test(NAME sources... LIBRARIES libraries...): one test program, each of its tests known to CTest.
function(qor_add_test name)
    cmake_parse_arguments(ARG "" "" "LIBRARIES" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
endfunction()
