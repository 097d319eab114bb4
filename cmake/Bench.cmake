# The benchmarks: one binary from bench/*.cpp that links the rooms themselves. With GStreamer and
# FFmpeg they measure the compositor of one and the overlay filters of the other on the same frames.

find_package(benchmark REQUIRED)

file(GLOB bench_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/bench/*.cpp")
list(APPEND bench_sources
    "${PROJECT_SOURCE_DIR}/tests/support/graph_fakes.cpp"
    "${PROJECT_SOURCE_DIR}/tests/support/guarded_memory.cpp"
    "${PROJECT_SOURCE_DIR}/tests/support/primitive_cases.cpp")
if(bench_sources)
    add_executable(bench_qdvm ${bench_sources})
    target_compile_definitions(bench_qdvm PRIVATE
        QDVM_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
    target_link_libraries(bench_qdvm PRIVATE
        qdvm_internal ${QDVM_ROOM_TARGETS} benchmark::benchmark)
    target_include_directories(bench_qdvm PRIVATE "${PROJECT_SOURCE_DIR}/tests" "${PROJECT_SOURCE_DIR}/bench")
    if(QDVM_GST_FOUND AND QDVM_GST_TOOLS_FOUND)
        target_compile_definitions(bench_qdvm PRIVATE QDVM_BENCH_GSTREAMER)
        target_link_libraries(bench_qdvm PRIVATE PkgConfig::QDVM_GST PkgConfig::QDVM_GST_TOOLS)
    endif()
    if(PkgConfig_FOUND)
        pkg_check_modules(QDVM_FFMPEG QUIET IMPORTED_TARGET libavfilter libavutil)
    endif()
    if(QDVM_FFMPEG_FOUND)
        target_compile_definitions(bench_qdvm PRIVATE QDVM_BENCH_FFMPEG)
        target_link_libraries(bench_qdvm PRIVATE PkgConfig::QDVM_FFMPEG)
    endif()
endif()
