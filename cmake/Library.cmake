# The library, one object library for each room, lowest room first. A test of a room links that room
# and the ones below it, so a call upwards does not link.

set(QDVM_ROOMS platform frames primitives pixels config mixer scenes graph)

set(QDVM_ROOM_DIRS_platform platform platform/posix)
set(QDVM_ROOM_DIRS_pixels pixels pixels/chroma_key)
set(QDVM_ROOM_DIRS_primitives pixels/primitives)
foreach(room IN ITEMS frames config mixer scenes graph)
    set(QDVM_ROOM_DIRS_${room} ${room})
endforeach()

# qdvm_glob(OUT DIRS...): the sources of directories below src/.
function(qdvm_glob out)
    set(found)
    foreach(dir IN LISTS ARGN)
        file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/src/${dir}/*.cpp")
        list(APPEND found ${sources})
    endforeach()
    set(${out} ${found} PARENT_SCOPE)
endfunction()

# What every target that compiles against the rooms needs.
add_library(qdvm_internal INTERFACE)
target_link_libraries(qdvm_internal INTERFACE qdvm_flags Threads::Threads)
target_include_directories(qdvm_internal INTERFACE
    "${PROJECT_SOURCE_DIR}/include"
    "${PROJECT_BINARY_DIR}/include"
    "${PROJECT_SOURCE_DIR}/src")

set(QDVM_ROOM_TARGETS)
set(QDVM_LIBRARY_SOURCES)
foreach(room IN LISTS QDVM_ROOMS)
    qdvm_glob(sources ${QDVM_ROOM_DIRS_${room}})
    if(sources)
        qdvm_set_level_flags(${sources})
        add_library(qdvm_${room} OBJECT ${sources})
        target_link_libraries(qdvm_${room} PRIVATE qdvm_internal)
        if(room STREQUAL "platform")
            target_link_libraries(qdvm_platform PRIVATE PkgConfig::QDVM_PIXBUF)
            target_compile_definitions(qdvm_platform PRIVATE
                QDVM_DATA_DIR="${CMAKE_INSTALL_FULL_DATADIR}/qdvideomixer")
        endif()
        list(APPEND QDVM_ROOM_TARGETS qdvm_${room})
        list(APPEND QDVM_LIBRARY_SOURCES ${sources})
    endif()
    # What a test of this room links: the room and everything below it.
    set(QDVM_UP_TO_${room} ${QDVM_ROOM_TARGETS})
endforeach()

# Beside the library in the build tree as where it is installed.
file(COPY "${PROJECT_SOURCE_DIR}/share/qdvideomixer" DESTINATION "${PROJECT_BINARY_DIR}/share")

add_library(qdvideomixer)
add_library(qdvideomixer::qdvideomixer ALIAS qdvideomixer)
foreach(target IN LISTS QDVM_ROOM_TARGETS)
    target_sources(qdvideomixer PRIVATE $<TARGET_OBJECTS:${target}>)
endforeach()
target_compile_features(qdvideomixer PUBLIC cxx_std_20)
target_include_directories(qdvideomixer PUBLIC
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
    "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
target_link_libraries(qdvideomixer PRIVATE
    Threads::Threads PkgConfig::QDVM_PIXBUF $<BUILD_INTERFACE:qdvm_flags>)
set_target_properties(qdvideomixer PROPERTIES
    LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
