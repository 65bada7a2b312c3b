# What lets other projects find the installed library: find_package(SorvaneEngine), which gives the
# target SorvaneEngine::SorvaneEngine, and pkg-config's sorvane_engine. Both find it by their own
# place, so that an installation can be moved.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/SorvaneEngine)
install(EXPORT SorvaneEngine NAMESPACE SorvaneEngine:: DESTINATION ${package_folder}
        FILE SorvaneEngineTargets.cmake COMPONENT Development)
# It has no components: one that a project asks for isn't found.
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
configure_file(cmake/sorvane_engine.pc.in sorvane_engine.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sorvane_engine.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

set(examples isolate_stem.cpp noise_gate.py run_network.c stream_wav.c wav.h
    CMakeLists.txt Makefile README.md)
list(TRANSFORM examples PREPEND examples/)
install(FILES ${examples} DESTINATION share/sorvane/examples COMPONENT Development)
