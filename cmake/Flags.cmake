# Flags that every target of this project compiles with.

add_library(qdvm_flags INTERFACE)

target_compile_options(qdvm_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
    -Woverloaded-virtual
    # gcc 12 sees overlapping copies in std::string's operator+ when it inlines it.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    # Results of interpolation must not depend on whether the processor can fuse a multiply and add.
    -ffp-contract=off)

if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(qdvm_flags INTERFACE -Wthread-safety)
endif()
if(QDVM_WERROR)
    target_compile_options(qdvm_flags INTERFACE -Werror)
endif()
if(QDVM_CHECK_LOCK_ORDER)
    target_compile_definitions(qdvm_flags INTERFACE QDVM_CHECK_LOCK_ORDER)
endif()
if(QDVM_SANITIZE)
    target_compile_options(qdvm_flags INTERFACE
        -fsanitize=${QDVM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        # With the sanitizers' checks in between, gcc 12 takes members of a variant for unset.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(qdvm_flags INTERFACE -fsanitize=${QDVM_SANITIZE})
endif()

# qdvm_set_level_flags(SOURCES...): a source named after an instruction-set level is compiled for
# that level; the code is reached only through a table filled after asking the processor.
function(qdvm_set_level_flags)
    if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
        return()
    endif()
    foreach(source IN LISTS ARGN)
        if(source MATCHES "_ssse3\\.cpp$")
            set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "-mssse3")
        elseif(source MATCHES "_sse41\\.cpp$")
            set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "-msse4.1")
        elseif(source MATCHES "_avx2\\.cpp$")
            set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "-mavx2")
        elseif(source MATCHES "_avx512\\.cpp$")
            set_source_files_properties("${source}" PROPERTIES
                COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl")
        endif()
    endforeach()
endfunction()
