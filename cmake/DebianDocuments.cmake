# Run by CPack before it packs: puts the licence and the changelog into each Debian package, which are
# required there.
if(NOT CPACK_GENERATOR STREQUAL DEB)
    return()
endif()

file(READ ${CPACK_RESOURCE_FILE_LICENSE} licence)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # that of SOURCE_DATE_EPOCH, where it is set
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/doc)
    string(APPEND folder /${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(text "${licence}")
    if(component STREQUAL Models)
        string(APPEND text "\nLicences and sources of each model: "
            "/usr/share/sorvane/models/README.md\n")
    endif()
    file(WRITE ${folder}/copyright "${text}")
    file(WRITE ${folder}/changelog.Debian
        "${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium\n\n  * Version "
        "${CPACK_PACKAGE_VERSION}.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
    execute_process(COMMAND gzip -9nf ${folder}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
endforeach()
