# Holds the direction of includes in the library and the program: a file includes its own room and
# those below it only.
#
#   cmake -DSOURCE_DIR=<the folder of either> -P include_order.cmake

if(NOT IS_DIRECTORY "${SOURCE_DIR}") # a search from the root would take minutes
    message(FATAL_ERROR "SOURCE_DIR names no folder")
endif()

# The rooms from the top down, as patterns of paths; the first that fits a file is its room.
set(order
    # The program.
    "^main\\.cpp$"
    "^(denoise|process|models|info|bench|demo)/"
    "^run/"
    "^chain/"
    "^sound/"
    "^console/"
    # The library.
    "^engine/"
    "^processor/"
    "^model/"
    "^layers/"
    "^audio/"
    "^support/[a-z_]+\\.(h|cpp)$"
    # The vector layer: the public operations and the choice of a form; the forms; what they are made of;
    # the headers for everyone else.
    "^support/vector/([a-z_]+\\.cpp|dispatch\\.h|flat_sequences\\.h)$"
    "^support/vector/forms/"
    "^support/vector/transform/"
    "^support/vector/kernels/"
    "^support/vector/[a-z_]+\\.h$")

# The place of a file's room in the order.
function(find_room file result)
    set(rank 0)
    foreach(room IN LISTS order)
        if(file MATCHES "${room}")
            set(${result} ${rank} PARENT_SCOPE)
            return()
        endif()
        math(EXPR rank "${rank} + 1")
    endforeach()
    message(FATAL_ERROR "${file} lies in no room")
endfunction()

set(checked 0)
file(GLOB_RECURSE sources RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/*.h ${SOURCE_DIR}/*.cpp)
foreach(source IN LISTS sources)
    find_room(${source} rank)
    file(STRINGS ${SOURCE_DIR}/${source} includes REGEX "^#include \"")
    foreach(include IN LISTS includes)
        string(REGEX REPLACE "^#include \"(.*)\".*" "\\1" included "${include}")
        find_room(${included} includedRank)
        if(includedRank LESS rank)
            message(SEND_ERROR "${source}: ${include} points upwards")
        endif()
        math(EXPR checked "${checked} + 1")
    endforeach()
endforeach()
if(checked EQUAL 0)
    message(FATAL_ERROR "no include found below ${SOURCE_DIR}")
endif()
