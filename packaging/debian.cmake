# Debian packages by CPack, a package for each component; scripts/package makes them. The same sources and the same
# SOURCE_DATE_EPOCH give the same bytes.
set(QOR_MAINTAINER "The Qor authors <qor@example.org>" CACHE STRING "Maintainer of the packages: name and address")
set(maintainer ${QOR_MAINTAINER})
set(soname_package libqor${PROJECT_VERSION_MAJOR})

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^armv7")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

# The files that every package must have. Debian has the text of the licence. The time is that of SOURCE_DATE_EPOCH.
file(STRINGS ${PROJECT_SOURCE_DIR}/NOTICE notice_lines)
set(notice)
foreach(line IN LISTS notice_lines)
    if(line STREQUAL "")
        set(line ".")
    endif()
    string(APPEND notice " ${line}\n")
endforeach()
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(pair plugin:${soname_package} command:qor development:qor-dev zelta:zelta-dev)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/debian/${package})
    configure_file(debian-copyright.in ${folder}/copyright @ONLY)
    configure_file(debian-changelog.in ${folder}/changelog @ONLY)
    install(FILES ${folder}/copyright ${folder}/changelog
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/examples/CMakeLists.txt ${PROJECT_SOURCE_DIR}/examples/host.c
              ${PROJECT_SOURCE_DIR}/examples/live.cpp
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/qor-dev/examples COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qor)
set(CPACK_PACKAGE_VENDOR Qor)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each has its own
set(CPACK_PACKAGE_CONTACT ${maintainer})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# What a debugger wants is taken out of the plug-in, into a package of its own.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_STRIP_EXECUTABLE ${CMAKE_STRIP})
set(CPACK_OBJCOPY_EXECUTABLE ${CMAKE_OBJCOPY})
set(CPACK_OBJDUMP_EXECUTABLE ${CMAKE_OBJDUMP})
set(CPACK_READELF_EXECUTABLE ${CMAKE_READELF})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL plugin development static zelta)
if(QOR_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL command)
endif()
foreach(component plugin command zelta development)
    string(TOUPPER ${component} upper)
    set(CPACK_COMPONENT_${upper}_GROUP ${component})
endforeach()
set(CPACK_COMPONENT_STATIC_GROUP development)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${maintainer})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(about "Distance images of a time-of-flight camera")
set(CPACK_DEBIAN_PLUGIN_PACKAGE_NAME ${soname_package})
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_PLUGIN_DESCRIPTION "${about} - plug-in
The algorithm that turns the packed 12-bit phase images of a 224 x 172 imager
into distance in metres, amplitude, confidence and points in space. A host
loads it and pushes self-describing packets into it.")
if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE STREQUAL armhf)
    string(APPEND CPACK_COMPONENT_PLUGIN_DESCRIPTION "

This build needs a processor with NEON and VFPv4.")
elseif(NOT CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
    string(APPEND CPACK_COMPONENT_PLUGIN_DESCRIPTION "

This build needs a processor with SSE4.2, AES and PCLMUL.")
endif()
set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME qor)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${soname_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_COMMAND_DESCRIPTION "${about} - command
Simulates a camera, feeds recordings to the plug-in, writes pictures, point
clouds and figures, and looks into recordings.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME qor-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${soname_package} (= ${PROJECT_VERSION}), zelta-dev (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libhwy-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${about} - files for hosts
Headers, definitions of the records, the plug-in as an archive, files of CMake
and pkg-config, and two hosts as examples.")
set(CPACK_DEBIAN_ZELTA_PACKAGE_NAME zelta-dev)
set(CPACK_DEBIAN_ZELTA_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_ZELTA_PACKAGE_DEPENDS zlib1g-dev)
set(CPACK_COMPONENT_ZELTA_DESCRIPTION "Self-describing binary records - files for development
Reads and writes packets of records together with their definitions, and
copies members by name between layouts.")

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian-staging.cmake)
if(CMAKE_CROSSCOMPILING)
    list(APPEND CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian-needs.cmake)
else()
    set(CPACK_DEBIAN_PLUGIN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian-debug.cmake)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PLUGIN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers)

include(CPack)
