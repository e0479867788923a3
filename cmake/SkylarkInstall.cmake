include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

get_property(subsystems GLOBAL PROPERTY SKYLARK_SUBSYSTEMS)
install(TARGETS skylark_ssai ${subsystems} EXPORT SkylarkSSAITargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION include/skylark_ssai)
install(EXPORT SkylarkSSAITargets NAMESPACE SkylarkSSAI::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI)
configure_package_config_file(cmake/SkylarkSSAIConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI)
