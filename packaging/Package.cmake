# What tells other builds where the wire format's headers are: a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

configure_file(${CMAKE_CURRENT_LIST_DIR}/cmnexecutor.pc.in ${PROJECT_BINARY_DIR}/cmnexecutor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmnexecutor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/cmnexecutor)
install(TARGETS rk_headers EXPORT cmnexecutor)
install(EXPORT cmnexecutor NAMESPACE cmnexecutor:: DESTINATION ${PACKAGE_FOLDER} FILE cmnexecutor-config.cmake)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmnexecutor-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmnexecutor-config-version.cmake DESTINATION ${PACKAGE_FOLDER})
