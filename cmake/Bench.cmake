# The benchmarks: one binary from bench/*.cpp that links the rooms themselves. With GStreamer and
# FFmpeg they measure the compositor of one and the overlay filters of the other on the same frames.

find_package(benchmark REQUIRED)

file(GLOB bench_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/bench/*.cpp")
# The peers of conversion and scaling.
find_library(QDVM_LIBYUV yuv)
find_library(QDVM_OPENCV_CORE opencv_core)
find_library(QDVM_OPENCV_IMGPROC opencv_imgproc)
find_path(QDVM_OPENCV_INCLUDE opencv2/imgproc.hpp PATH_SUFFIXES opencv4)
if(PkgConfig_FOUND)
    pkg_check_modules(QDVM_SWSCALE QUIET IMPORTED_TARGET libswscale libavutil)
endif()
if(QDVM_LIBYUV AND QDVM_OPENCV_IMGPROC AND QDVM_OPENCV_INCLUDE AND QDVM_SWSCALE_FOUND)
    set(QDVM_KERNEL_PEERS_FOUND TRUE)
else()
    list(FILTER bench_sources EXCLUDE REGEX "bench/(conversions|scaling)\\.cpp$")
endif()
find_package(pugixml QUIET)
if(NOT pugixml_FOUND)
    list(FILTER bench_sources EXCLUDE REGEX "bench/xml\\.cpp$")
endif()
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
    if(QDVM_KERNEL_PEERS_FOUND)
        target_compile_definitions(bench_qdvm PRIVATE QDVM_BENCH_KERNEL_PEERS)
        target_include_directories(bench_qdvm SYSTEM PRIVATE "${QDVM_OPENCV_INCLUDE}")
        target_link_libraries(bench_qdvm PRIVATE "${QDVM_LIBYUV}" "${QDVM_OPENCV_IMGPROC}"
            "${QDVM_OPENCV_CORE}" PkgConfig::QDVM_SWSCALE)
    endif()
    if(pugixml_FOUND)
        target_compile_definitions(bench_qdvm PRIVATE QDVM_BENCH_PUGIXML)
        target_link_libraries(bench_qdvm PRIVATE pugixml::pugixml)
    endif()
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
