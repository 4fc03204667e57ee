# qor_add_fuzz_target(NAME program TEST Suite.Name SOURCES file... LIBRARIES target... SEEDS folder CORPUS target
#                     RUNS number MAX_LENGTH bytes)
#
# A libFuzzer program and its test: the seeds first, then RUNS inputs of at most MAX_LENGTH bytes, then what an earlier
# run has found. What a run finds stands in found/PROGRAM of the build folder. scripts/fuzz goes on for hours; it finds the
# targets in the global property QOR_FUZZ_TARGETS, a line each: program, found, seeds, length.
if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "The fuzz targets need Clang: configure with -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++")
endif()

function(qor_add_fuzz_target)
    cmake_parse_arguments(PARSE_ARGV 0 fuzz "" "NAME;TEST;SEEDS;CORPUS;RUNS;MAX_LENGTH" "SOURCES;LIBRARIES")
    add_executable(${fuzz_NAME} ${fuzz_SOURCES})
    target_link_libraries(${fuzz_NAME} PRIVATE ${fuzz_LIBRARIES})
    target_link_options(${fuzz_NAME} PRIVATE -fsanitize=fuzzer)
    add_dependencies(${fuzz_NAME} ${fuzz_CORPUS})
    if(TARGET fuzz_targets)
        add_dependencies(fuzz_targets ${fuzz_NAME})
    endif()
    set(found ${CMAKE_CURRENT_BINARY_DIR}/found/${fuzz_NAME})
    file(MAKE_DIRECTORY ${found})
    set_property(GLOBAL APPEND PROPERTY QOR_FUZZ_TARGETS
        "$<TARGET_FILE:${fuzz_NAME}> ${found} ${fuzz_SEEDS} ${fuzz_MAX_LENGTH}")
    # The pipeline prints its reports on standard output, which nobody reads here. The first folder takes what is found.
    add_test(NAME ${fuzz_TEST}
             COMMAND ${fuzz_NAME} -runs=${fuzz_RUNS} -seed=1 -max_len=${fuzz_MAX_LENGTH} -timeout=20 -rss_limit_mb=2048
                     -malloc_limit_mb=64 -close_fd_mask=1 -print_final_stats=1 -artifact_prefix=${found}/
                     ${found} ${fuzz_SEEDS})
    set_tests_properties(${fuzz_TEST} PROPERTIES TIMEOUT 1200)
endfunction()
