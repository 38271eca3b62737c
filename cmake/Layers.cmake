# The layers of the program, one a folder. A layer's headers are found only by what links it: each layer has an include
# folder of its own, in which its source folder appears under its full name and nothing else does. So an include that
# points back up does not compile.
#
#   orvel_layer(NAME FOLDER dir [SOURCES file...] [EXPOSES layer-or-library...] [USES layer-or-library...])
#
# EXPOSES names what the layer's own headers include, and whoever uses the layer sees it too. USES names what only its
# sources include; nobody else sees that. A layer names whatever it includes itself, and nothing more: scripts/check-layers
# compares this with the includes.
function(orvel_layer NAME)
    cmake_parse_arguments(LAYER "" "FOLDER" "SOURCES;EXPOSES;USES" ${ARGN})
    set(view ${PROJECT_BINARY_DIR}/layers/${NAME})
    cmake_path(GET LAYER_FOLDER PARENT_PATH parent)
    file(MAKE_DIRECTORY ${view}/${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${LAYER_FOLDER} ${view}/${LAYER_FOLDER} SYMBOLIC)
    file(APPEND ${PROJECT_BINARY_DIR}/layers.txt "${NAME}|${LAYER_FOLDER}|${LAYER_EXPOSES}|${LAYER_USES}\n")
    if(LAYER_SOURCES)
        list(TRANSFORM LAYER_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/${LAYER_FOLDER}/)
        add_library(${NAME} STATIC ${LAYER_SOURCES})
        target_include_directories(${NAME} PUBLIC ${view})
        target_link_libraries(${NAME} PUBLIC ${LAYER_EXPOSES} PRIVATE ${LAYER_USES} orvel_warnings)
    else()
        add_library(${NAME} INTERFACE)
        target_include_directories(${NAME} INTERFACE ${view})
        target_link_libraries(${NAME} INTERFACE ${LAYER_EXPOSES})
    endif()
endfunction()
