# One static library a folder. Which layers a folder may include stands in cmake/layers.txt alone;
# the link edges below are read from it and tools/check_layers.py holds the includes to it.

add_library(qdx_options INTERFACE)
target_include_directories(qdx_options INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(qdx_options INTERFACE Threads::Threads)
target_compile_definitions(qdx_options INTERFACE QT_NO_KEYWORDS QDX_VERSION="${PROJECT_VERSION}")
target_compile_options(qdx_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wno-sign-conversion
    # g++ 12 sees overlaps in the string library's own copies that cannot happen.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta>)
if(QDX_WERROR)
    target_compile_options(qdx_options INTERFACE -Werror)
endif()
if(QDX_SANITIZE)
    target_compile_options(qdx_options INTERFACE
        -fsanitize=${QDX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(qdx_options INTERFACE -fsanitize=${QDX_SANITIZE})
endif()

file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/layers.txt qdx_layer_lines REGEX "^[A-Za-z].*:")
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/cmake/layers.txt)

# qdx_layer_target(out folder): the target name of a layer folder.
function(qdx_layer_target out folder)
    string(REPLACE "/" "." target ${folder})
    set(${out} ${target} PARENT_SCOPE)
endfunction()

# qdx_layer_deps(out folder): the targets of the layers that a folder may include.
function(qdx_layer_deps out folder)
    set(result "")
    set(found FALSE)
    foreach(line IN LISTS qdx_layer_lines)
        string(REGEX MATCH "^([^:]+):(.*)$" _ "${line}")
        if(CMAKE_MATCH_1 STREQUAL folder)
            set(found TRUE)
            separate_arguments(names UNIX_COMMAND "${CMAKE_MATCH_2}")
            foreach(name IN LISTS names)
                qdx_layer_target(target ${name})
                list(APPEND result ${target})
            endforeach()
        endif()
    endforeach()
    if(NOT found)
        message(FATAL_ERROR "${folder} has no line in cmake/layers.txt")
    endif()
    set(${out} ${result} PARENT_SCOPE)
endfunction()

# qdx_add_layer(folder [LIBS lib…]): every *.cpp directly in the folder becomes the layer's library.
function(qdx_add_layer folder)
    cmake_parse_arguments(arg "" "" "LIBS" ${ARGN})
    qdx_layer_target(target ${folder})
    qdx_layer_deps(deps ${folder})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
    if(sources)
        add_library(${target} STATIC ${sources})
        target_link_libraries(${target} PUBLIC qdx_options ${deps} ${arg_LIBS})
    else()
        add_library(${target} INTERFACE)
        target_link_libraries(${target} INTERFACE qdx_options ${deps} ${arg_LIBS})
    endif()
endfunction()
