# Shared libraries, unless BUILD_SHARED_LIBS is off.
if(NOT DEFINED BUILD_SHARED_LIBS)
    set(BUILD_SHARED_LIBS ON)
endif()

# What the two libraries have in common: their version, the names that a shared one exports, and
# where they are installed, as COMPONENT.
function(publish_library target component)
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    if(NOT BUILD_SHARED_LIBS)
        target_compile_definitions(${target} PUBLIC SORVANE_STATIC)
    elseif(UNIX AND NOT APPLE)
        set(export_map ${CMAKE_CURRENT_SOURCE_DIR}/exports.map)
        target_link_options(${target} PRIVATE LINKER:--version-script=${export_map})
        set_target_properties(${target} PROPERTIES LINK_DEPENDS ${export_map})
        if(NOT SORVANE_SANITIZE)
            target_link_options(${target} PRIVATE LINKER:-z,defs)
        endif()
    endif()
    if(NOT PROJECT_IS_TOP_LEVEL)
        return()
    endif()
    install(TARGETS ${target} EXPORT SorvaneEngine
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
            NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
        PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
