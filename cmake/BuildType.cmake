# Unoptimised, the engine takes three times as long, and nothing would tell.
get_property(has_many_types GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT has_many_types AND NOT CMAKE_BUILD_TYPE)
    message(STATUS "SorvaneEngine: no CMAKE_BUILD_TYPE is set, so it is built as Release")
    if(PROJECT_IS_TOP_LEVEL)
        set(CMAKE_BUILD_TYPE Release CACHE STRING "Type of the build" FORCE)
    else()
        set(CMAKE_BUILD_TYPE Release) # of this folder alone
    endif()
endif()
