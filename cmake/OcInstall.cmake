# Installation: the libraries, every public header under include/ (paths rooted as in the
# source tree: include/oc/arrange/arrange.h, include/platform/core/pel_buffer.h), the programs,
# and the CMake package `oc` (lib/cmake/oc) with the targets oc::oc, oc::xcore, ...
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(_oc_install_libs)
foreach(lib xcore xclevel xdiag xvision xio oc)
  if(TARGET ${lib})
    list(APPEND _oc_install_libs ${lib})
  endif()
endforeach()
install(TARGETS ${_oc_install_libs} EXPORT ocTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(prog ocarrange ocfont)
  if(TARGET ${prog})
    install(TARGETS ${prog} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
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
