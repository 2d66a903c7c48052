# Installation: the libraries, every public header under include/ (paths rooted as in the
# source tree: include/oc/arrange/arrange.h, include/platform/core/pel_buffer.h), the programs,
# and the CMake package `oc` (lib/cmake/oc) with the targets oc::oc, oc::xcore, ...
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS xcore xclevel xdiag xvision xio oc EXPORT ocTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS ocarrange ocfont RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform ${PROJECT_SOURCE_DIR}/oc
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT ocTargets NAMESPACE oc:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/oc)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ocConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/ocConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/oc)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ocConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ocConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/ocConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/oc)
