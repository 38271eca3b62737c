# The layers of the program. A layer's headers are found only by what links it: each layer has an include folder of its
# own, in which its source folder appears under its full name and nothing else does. So an include that points back up
# does not compile.
#
#   orvel_layer(NAME FOLDER dir SOURCES file... [USES layer-or-library...] [USES_INSIDE library...])
#
# USES is passed on to whoever uses the layer; USES_INSIDE is known only to the layer's own files.
function(orvel_layer NAME)
    cmake_parse_arguments(LAYER "" "FOLDER" "SOURCES;USES;USES_INSIDE" ${ARGN})
    set(view ${PROJECT_BINARY_DIR}/layers/${NAME})
    cmake_path(GET LAYER_FOLDER PARENT_PATH parent)
    file(MAKE_DIRECTORY ${view}/${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${LAYER_FOLDER} ${view}/${LAYER_FOLDER} SYMBOLIC)
    if(LAYER_SOURCES)
        list(TRANSFORM LAYER_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/${LAYER_FOLDER}/)
        add_library(${NAME} STATIC ${LAYER_SOURCES})
        target_include_directories(${NAME} PUBLIC ${view})
        target_link_libraries(${NAME} PUBLIC ${LAYER_USES} PRIVATE ${LAYER_USES_INSIDE} orvel_warnings)
    else()
        add_library(${NAME} INTERFACE)
        target_include_directories(${NAME} INTERFACE ${view})
        target_link_libraries(${NAME} INTERFACE ${LAYER_USES})
    endif()
endfunction()
