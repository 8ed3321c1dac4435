include(CMakePackageConfigHelpers)
install(TARGETS KQFoundation EXPORT KQFoundationTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/KQFoundation DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set(KQ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KQFoundation)
install(EXPORT KQFoundationTargets NAMESPACE KQFoundation:: DESTINATION ${KQ_CMAKE_DIR})
configure_package_config_file(cmake/KQFoundationConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KQFoundationConfig.cmake INSTALL_DESTINATION ${KQ_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KQFoundationConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KQFoundationConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/KQFoundationConfigVersion.cmake
  DESTINATION ${KQ_CMAKE_DIR})
