# Lets TARGET, which is installed in FOLDER, find the library that is installed with it, wherever the
# installation is moved.
function(find_library_from folder target)
    file(RELATIVE_PATH to_library
        ${CMAKE_INSTALL_PREFIX}/${folder} ${CMAKE_INSTALL_FULL_LIBDIR})
    if(APPLE)
        set(origin @loader_path)
    else()
        set(origin $ORIGIN)
    endif()
    set_target_properties(${target} PROPERTIES
        BUILD_RPATH_USE_ORIGIN ON
        INSTALL_RPATH ${origin}/${to_library})
endfunction()
