# Packages: `cpack -G TGZ` in a build gives a tarball that runs wherever it is unpacked; `cpack -G
# DEB` in one of the preset `debian`, whose folders are Debian's, gives six Debian packages.
set(CPACK_PACKAGE_NAME sorvane-engine)
set(CPACK_PACKAGE_VENDOR "the SorvaneEngine developers")
set(CPACK_PACKAGE_CONTACT "SorvaneEngine developers <developers@sorvane.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL Library HostLibrary Development Program Models Plugins)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianDocuments.cmake)

set(CPACK_COMPONENT_HOSTLIBRARY_DEPENDS Library)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Library HostLibrary)
set(CPACK_COMPONENT_PROGRAM_DEPENDS HostLibrary)
set(CPACK_COMPONENT_PLUGINS_DEPENDS HostLibrary Models)

# The package NAME of COMPONENT, in Debian's SECTION.
function(debian_package component name section summary description)
    string(TOUPPER ${component} component)
    set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${component}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
endfunction()

debian_package(Library libsorvaneengine${PROJECT_VERSION_MAJOR} libs
    "trained neural networks on streaming audio"
    "SorvaneEngine sends audio through a network from a model file, which divides\n\
it into busses, such as speech and noise. This is the shared library.")
debian_package(HostLibrary libsorvanehost${PROJECT_VERSION_MAJOR} libs
    "trained neural networks on streaming audio (host layer)"
    "SorvaneEngine sends audio through a network from a model file. This shared\n\
library has what host programs need around it: models by name, streams, blocks\n\
with one delay, and failures as statuses.")
debian_package(Development libsorvaneengine-dev libdevel
    "trained neural networks on streaming audio (development files)"
    "SorvaneEngine sends audio through a network from a model file. This package\n\
has the headers of the engine and of its host layer, what CMake and pkg-config\n\
find them by, and examples.")
debian_package(Program sorvane sound
    "take the noise out of recordings of speech"
    "The program sends audio files and the tracks of films through a network from a\n\
model file, which divides them into busses, such as speech and noise, and\n\
writes their mix.")
debian_package(Models sorvane-models sound
    "models for SorvaneEngine"
    "Networks that SorvaneEngine, its program and its plug-ins run, with a\n\
description of each.")
debian_package(Plugins sorvane-plugins sound
    "LADSPA and LV2 plug-ins that run trained neural networks"
    "The plug-ins bring the models of SorvaneEngine to programs that host LADSPA or\n\
LV2 plug-ins.")

# Packages that link with a library depend on its package, in the version that their symbols need; the
# loader's cache is renewed.
set(control_folder ${PROJECT_BINARY_DIR}/debian-control)
function(debian_library component library exports)
    string(TOUPPER ${component} component)
    set(folder ${control_folder}/${library})
    set(package ${CPACK_DEBIAN_${component}_PACKAGE_NAME})
    set(soname ${library}.so.${PROJECT_VERSION_MAJOR})
    file(WRITE ${folder}/shlibs
        "${library} ${PROJECT_VERSION_MAJOR} ${package} (>= ${PROJECT_VERSION})\n")
    file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
    file(READ ${exports} map)
    string(REGEX MATCH "^[A-Z0-9_]+" node ${map})
    file(WRITE ${folder}/symbols "${soname} ${package} #MINVER#\n"
        " ${node}@${node} ${PROJECT_VERSION}\n")
    foreach(symbol IN LISTS ARGN)
        file(APPEND ${folder}/symbols " ${symbol}@${node} ${PROJECT_VERSION}\n")
    endforeach()
    set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA
        ${folder}/shlibs ${folder}/triggers ${folder}/symbols PARENT_SCOPE)
endfunction()

# The names that a header declares.
function(exported_names result header)
    set(names)
    file(READ ${header} text)
    string(REGEX MATCHALL "SORVANE_(HOST_)?API [A-Za-z0-9_* \n]*sorvane[A-Za-z]+\\(" calls "${text}")
    foreach(call IN LISTS calls)
        string(REGEX MATCH "sorvane[A-Za-z]+" name "${call}")
        list(APPEND names ${name})
    endforeach()
    list(REMOVE_DUPLICATES names)
    list(SORT names)
    set(${result} ${names} PARENT_SCOPE)
endfunction()

exported_names(names ${PROJECT_SOURCE_DIR}/src/engine/sorvane_engine.h)
debian_library(Library libSorvaneEngine ${PROJECT_SOURCE_DIR}/src/engine/exports.map
    _ZN7sorvane14ProcessorState17getParameterRangeEiPfS1_
    _ZN7sorvane23sorvaneGetProcessorInfoEPvP16SorvaneModelInfo ${names})
exported_names(names ${PROJECT_SOURCE_DIR}/host/sorvane_host.h)
debian_library(HostLibrary libSorvaneHost ${PROJECT_SOURCE_DIR}/host/exports.map ${names})

set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "sorvane-models, ffmpeg")
set(CPACK_DEBIAN_MODELS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_MODELS_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

set(CPACK_SORVANE_DOCDIR ${CMAKE_INSTALL_DOCDIR})
include(CPack)
