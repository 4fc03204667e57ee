# Installs the library into WORK, as a static and as a shared one, and builds and runs a consumer against it: with
# find_package, and with the flags of pkg-config where that is installed.
function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        string(REPLACE ";" " " command "${ARGV}")
        message(FATAL_ERROR "${command}\n${output}")
    endif()
endfunction()

find_program(PKG_CONFIG pkg-config)
foreach(shared OFF ON)
    set(base ${WORK}/shared-${shared})
    file(REMOVE_RECURSE ${base})
    set(common -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=Debug)
    run(${CMAKE_COMMAND} -S ${ZELTA_SOURCE} -B ${base}/library ${common} -DZELTA_BUILD_TESTS=OFF
        -DBUILD_SHARED_LIBS=${shared} -DCMAKE_INSTALL_PREFIX=${base}/prefix -DCMAKE_INSTALL_LIBDIR=lib)
    run(${CMAKE_COMMAND} --build ${base}/library --parallel 2)
    run(${CMAKE_COMMAND} --install ${base}/library)
    run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${base}/consumer ${common} -DCMAKE_PREFIX_PATH=${base}/prefix)
    run(${CMAKE_COMMAND} --build ${base}/consumer)
    run(${base}/consumer/consumer)
    if(PKG_CONFIG)
        set(ENV{PKG_CONFIG_PATH} ${base}/prefix/lib/pkgconfig)
        execute_process(COMMAND ${PKG_CONFIG} --static --cflags --libs zelta COMMAND_ERROR_IS_FATAL ANY
                        OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
        separate_arguments(flags)
        run(${CXX_COMPILER} -std=c++20 ${CONSUMER_SOURCE}/main.cpp -o ${base}/consumer-pc ${flags}
            -Wl,-rpath,${base}/prefix/lib)
        run(${base}/consumer-pc)
    endif()
endforeach()
