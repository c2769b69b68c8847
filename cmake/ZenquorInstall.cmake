# Headers, library, CMake package and pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS zenquor EXPORT zenquorTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers lie directly in a module's folder; whatever lies deeper is the module's own business.
foreach(module ${ZENQUOR_MODULES})
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/zenquor/${module}/*.h)
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zenquor/${module})
endforeach()

install(EXPORT zenquorTargets NAMESPACE zenquor:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zenquor)
configure_package_config_file(cmake/zenquorConfig.cmake.in ${PROJECT_BINARY_DIR}/zenquorConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zenquor)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zenquorConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zenquorConfig.cmake ${PROJECT_BINARY_DIR}/zenquorConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zenquor)

configure_file(cmake/zenquor.pc.in ${PROJECT_BINARY_DIR}/zenquor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zenquor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
