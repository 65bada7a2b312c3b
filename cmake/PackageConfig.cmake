# What lets other projects find the installed libraries: find_package(SorvaneEngine), which gives the
# targets SorvaneEngine::SorvaneEngine and SorvaneEngine::Host, and pkg-config's sorvane_engine and
# sorvane_host. They find them by their own place, so that an installation can be moved.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/SorvaneEngine)
install(EXPORT SorvaneEngine NAMESPACE SorvaneEngine:: DESTINATION ${package_folder}
        FILE SorvaneEngineTargets.cmake COMPONENT Development)
# It has no components: one that a project asks for isn't found.
# What C programs link static libraries with, in place of the C++ compiler.
set(cxx_runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_DUPLICATES cxx_runtime)
list(FILTER cxx_runtime EXCLUDE REGEX "^(gcc|gcc_s|c)$")
configure_package_config_file(cmake/SorvaneEngineConfig.cmake.in SorvaneEngineConfig.cmake
    INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SorvaneEngineConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SorvaneEngineConfig.cmake
              ${PROJECT_BINARY_DIR}/SorvaneEngineConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT Development)

set(pkgconfig_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH to_prefix ${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH to_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH to_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" to_prefix ${to_prefix})
if(NOT BUILD_SHARED_LIBS)
    list(TRANSFORM cxx_runtime PREPEND -l OUTPUT_VARIABLE private_libraries)
    list(TRANSFORM CMAKE_DL_LIBS PREPEND -l OUTPUT_VARIABLE loader)
    list(JOIN private_libraries " " private_libraries)
    string(APPEND private_libraries " -pthread ${loader}")
    set(static_definition " -DSORVANE_STATIC")
endif()
foreach(name sorvane_engine sorvane_host)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endforeach()

set(examples isolate_stem.cpp noise_gate.py run_network.c stream_wav.c wav.h
    CMakeLists.txt Makefile README.md)
list(TRANSFORM examples PREPEND examples/)
install(FILES ${examples} DESTINATION share/sorvane/examples COMPONENT Development)
