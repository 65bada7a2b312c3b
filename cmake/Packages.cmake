# Packages: `cpack -G TGZ` in a build gives a tarball that runs wherever it is unpacked; `cpack -G DEB` in
# one of the preset `debian`, whose folders are Debian's, gives five Debian packages.
set(CPACK_PACKAGE_NAME sorvane-engine)
set(CPACK_PACKAGE_VENDOR "the SorvaneEngine developers")
set(CPACK_PACKAGE_CONTACT "SorvaneEngine developers <developers@sorvane.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL Library Development Program Models Plugins)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianDocuments.cmake)

set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Library)
set(CPACK_COMPONENT_PROGRAM_DEPENDS Library)
set(CPACK_COMPONENT_PLUGINS_DEPENDS Library Models)

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
debian_package(Development libsorvaneengine-dev libdevel
    "trained neural networks on streaming audio (development files)"
    "SorvaneEngine sends audio through a network from a model file. This package\n\
has its header, what CMake and pkg-config find it by, and examples.")
debian_package(Program sorvane sound
    "run trained neural networks on audio files"
    "The program sends audio files through a network from a model file, which\n\
divides them into busses, such as speech and noise, and writes their mix.")
debian_package(Models sorvane-models sound
    "models for SorvaneEngine"
    "Networks that SorvaneEngine, its program and its plug-ins run, with a\n\
description of each.")
debian_package(Plugins sorvane-plugins sound
    "LADSPA and LV2 plug-ins that run trained neural networks"
    "The plug-ins bring the models of SorvaneEngine to programs that host LADSPA or\n\
LV2 plug-ins.")

# Packages that link with the library depend on the one that it comes in; the loader's cache is renewed.
set(control_folder ${PROJECT_BINARY_DIR}/debian-control)
file(WRITE ${control_folder}/shlibs "libSorvaneEngine ${PROJECT_VERSION_MAJOR} "
    "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (>= ${PROJECT_VERSION})\n")
file(WRITE ${control_folder}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${control_folder}/shlibs ${control_folder}/triggers)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS sorvane-models)
set(CPACK_DEBIAN_MODELS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_MODELS_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

include(CPack)
