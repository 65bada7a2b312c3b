# Run by CPack before it packs: puts licences and a changelog into each Debian package, where Debian
# requires them, instead of the licences in one folder for all, and tells lintian what CPack can't
# be kept from.
if(NOT CPACK_GENERATOR STREQUAL DEB)
    return()
endif()

set(licences ${CPACK_TEMPORARY_DIRECTORY}/Library/usr/${CPACK_SORVANE_DOCDIR})
file(READ ${licences}/LICENSE licence)
file(READ ${licences}/NOTICES notices)
file(REMOVE_RECURSE ${licences})
# The time is that of SOURCE_DATE_EPOCH, where it is set.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/doc)
    string(APPEND folder /${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(text "${licence}\n${notices}")
    if(component STREQUAL Models)
        string(APPEND text "\nLicences and sources of each model: "
            "/usr/share/sorvane/models/README.md\n"
            "Makers and licences of the recordings that they were trained on: "
            "/usr/share/sorvane/training/ATTRIBUTION.md\n")
    endif()
    file(WRITE ${folder}/copyright "${text}")
    file(WRITE ${folder}/changelog.Debian
        "${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium\n\n  * Version "
        "${CPACK_PACKAGE_VERSION}.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
    execute_process(COMMAND gzip -9nf ${folder}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
    if(component MATCHES "Library$") # the trigger alone would do
        set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
        file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/lintian/overrides/${package}
            "${package}: maintscript-calls-ldconfig\n")
    endif()
endforeach()
