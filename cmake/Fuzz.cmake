# The fuzz targets: one binary fuzz_NAME from each fuzz/NAME.cpp, with the seeds in
# fuzz/corpus/NAME. scripts/fuzz builds and runs them.

if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "The fuzz targets need clang: use the preset 'fuzz'")
endif()

file(GLOB fuzz_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/fuzz/*.cpp")
foreach(source IN LISTS fuzz_sources)
    get_filename_component(name "${source}" NAME_WE)
    add_executable(fuzz_${name} "${source}")
    target_link_libraries(fuzz_${name} PRIVATE qdvm_internal ${QDVM_ROOM_TARGETS})
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endforeach()

# What the command reads as text, without its pipelines.
set(QDVM_FUZZED_QDMIX_FILES document_check.cpp document_scanner.cpp rect_options.cpp script.cpp
    script_check.cpp script_words.cpp text_fault.cpp values.cpp)
list(TRANSFORM QDVM_FUZZED_QDMIX_FILES PREPEND "${PROJECT_SOURCE_DIR}/src/hosts/qdmix/")
target_sources(fuzz_script PRIVATE ${QDVM_FUZZED_QDMIX_FILES})
