# The tests: one binary for each room, plus the checks of the architecture.

include(GoogleTest)
find_package(GTest REQUIRED)

set(QDVM_TEST_TIMEOUT 120)
find_program(QDVM_ENV env REQUIRED)
set(QDVM_SANITIZER_OPTIONS
    "ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp")

# Helpers shared by the tests. A static library, so that a test of a low room is not asked to link
# a helper for a higher one.
file(GLOB support_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/support/*.cpp")
add_library(qdvm_test_support INTERFACE)
target_include_directories(qdvm_test_support INTERFACE "${PROJECT_SOURCE_DIR}/tests")
target_compile_definitions(qdvm_test_support INTERFACE
    QDVM_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
target_link_libraries(qdvm_test_support INTERFACE
    qdvm_internal PkgConfig::QDVM_PIXBUF GTest::gtest GTest::gmock)
if(support_sources)
    add_library(qdvm_test_helpers STATIC ${support_sources})
    target_link_libraries(qdvm_test_helpers PUBLIC qdvm_test_support)
endif()

# qdvm_add_tests(NAME DIR [LINK libraries...] [ENVIRONMENT entries...]): the binary test_NAME from
# tests/DIR/*.cpp, if there are any.
function(qdvm_add_tests name dir)
    cmake_parse_arguments(arg "" "" "LINK;ENVIRONMENT" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/${dir}/*.cpp")
    if(NOT sources)
        return()
    endif()
    add_executable(test_${name} ${sources})
    if(TARGET qdvm_test_helpers)
        target_link_libraries(test_${name} PRIVATE qdvm_test_helpers)
    endif()
    target_link_libraries(test_${name} PRIVATE
        qdvm_test_support ${arg_LINK} GTest::gtest_main)
    # A launcher rather than the property ENVIRONMENT, which does not survive as a list on its way
    # through the discovery scripts.
    set_target_properties(test_${name} PROPERTIES CROSSCOMPILING_EMULATOR
        "${QDVM_ENV};${QDVM_SANITIZER_OPTIONS};${arg_ENVIRONMENT}")
    gtest_discover_tests(test_${name}
        TEST_PREFIX "${name}."
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${QDVM_TEST_TIMEOUT})
endfunction()

foreach(room IN LISTS QDVM_ROOMS)
    if(room STREQUAL "primitives")
        set(dir pixels/primitives)
    else()
        set(dir ${room})
    endif()
    qdvm_add_tests(${room} ${dir} LINK ${QDVM_UP_TO_${room}})
endforeach()

# The registry and the scan stay inside the test process and the build tree: a user's registry is none
# of our business. The element is linked into the tests, so the built plugin must not be found: a scan
# in the same process would make its types a second time.
set(host_environment
    "GST_REGISTRY=${PROJECT_BINARY_DIR}/gstreamer-registry.bin"
    "GST_REGISTRY_FORK=no"
    "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/leaks.supp")
if(TARGET qdvm_element)
    pkg_check_modules(QDVM_GST_TESTING REQUIRED IMPORTED_TARGET
        gstreamer-check-1.0 gstreamer-controller-1.0)
    qdvm_add_tests(gstreamer gstreamer
        LINK qdvm_element ${QDVM_ROOM_TARGETS} PkgConfig::QDVM_GST PkgConfig::QDVM_GST_TESTING
        ENVIRONMENT ${host_environment})
endif()
if(TARGET qdvm_qdmix)
    qdvm_add_tests(qdmix qdmix
        LINK qdvm_qdmix qdvm_element ${QDVM_ROOM_TARGETS} PkgConfig::QDVM_GST
            PkgConfig::QDVM_GST_TOOLS
        ENVIRONMENT ${host_environment})
    if(TARGET test_qdmix)
        target_compile_definitions(test_qdmix PRIVATE QDMIX_BINARY="$<TARGET_FILE:qdmix>")
        add_dependencies(test_qdmix qdmix)
    endif()
endif()

add_subdirectory("${PROJECT_SOURCE_DIR}/tests/architecture")
