# Installation: libraries, headers, catalogues (installed by qvsv_add_catalog),
# the tool, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qv_services ${PROJECT_SOURCE_DIR}/include/tessel
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT qv_services_targets NAMESPACE qv_services:: FILE qv_servicesTargets.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qv_services)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qv_servicesConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/qv_servicesConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qv_services)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qv_servicesConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qv_servicesConfig.cmake ${PROJECT_BINARY_DIR}/qv_servicesConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qv_services)
configure_file(${PROJECT_SOURCE_DIR}/cmake/qv_services.pc.in ${PROJECT_BINARY_DIR}/qv_services.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qv_services.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
