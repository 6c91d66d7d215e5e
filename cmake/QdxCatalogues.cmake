# qdx_add_catalogues(target): each po/<code>.po is checked and compiled by msgfmt, and all of them
# become one source file of the target, which defines catalogues() of
# QuarrydexCore/text/Catalogues.h.
function(qdx_add_catalogues target)
    find_program(QDX_MSGFMT msgfmt REQUIRED)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/catalogues)
    file(MAKE_DIRECTORY ${folder})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/po/*.po)
    set(compiled "")
    foreach(source IN LISTS sources)
        get_filename_component(code ${source} NAME_WE)
        add_custom_command(OUTPUT ${folder}/${code}.mo
            COMMAND ${QDX_MSGFMT} --check --no-hash --endianness=little
                -o ${folder}/${code}.mo ${source}
            DEPENDS ${source} VERBATIM)
        list(APPEND compiled ${folder}/${code}.mo)
    endforeach()
    set(script ${PROJECT_SOURCE_DIR}/cmake/embed_catalogues.cmake)
    add_custom_command(OUTPUT ${folder}/Catalogues.cpp
        COMMAND ${CMAKE_COMMAND} -DOUT=${folder}/Catalogues.cpp "-DFILES=${compiled}" -P ${script}
        DEPENDS ${compiled} ${script} VERBATIM)
    target_sources(${target} PRIVATE ${folder}/Catalogues.cpp)
endfunction()
