include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# Installed in three parts, one Debian package each (SkylarkPackaging):
# runtime (the shared library), dev (headers, the link name, CMake and
# pkg-config files) and tools (the command-line tool, the default part).
if(SKYLARK_SHARED)
  # The subsystems' names stay, each a name for the shared library, so an
  # application that links SkylarkSSAI::skylark_host_reference builds
  # against either kind of install.
  get_property(names GLOBAL PROPERTY SKYLARK_SHARED_NAMES)
  install(TARGETS ${names} EXPORT SkylarkSSAITargets)
  install(TARGETS skylark_ssai EXPORT SkylarkSSAITargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
          FILE_SET HEADERS DESTINATION include/skylark_ssai COMPONENT dev)
  # The shared library hides ICU, libcurl and libxml2.
  set(SKYLARK_CONFIG_DEPENDENCIES [[
find_dependency(fmt)
find_dependency(nlohmann_json 3)
find_dependency(Threads)]])
  configure_file(cmake/skylark-ssai.pc.in ${CMAKE_CURRENT_BINARY_DIR}/skylark-ssai.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/skylark-ssai.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
else()
  get_property(subsystems GLOBAL PROPERTY SKYLARK_SUBSYSTEMS)
  install(TARGETS skylark_ssai ${subsystems} EXPORT SkylarkSSAITargets
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
          FILE_SET HEADERS DESTINATION include/skylark_ssai COMPONENT dev)
  set(SKYLARK_CONFIG_DEPENDENCIES [[
find_dependency(ICU COMPONENTS uc i18n)
find_dependency(CURL)
find_dependency(LibXml2)
find_dependency(fmt)
find_dependency(nlohmann_json 3)
find_dependency(Threads)]])
endif()

install(EXPORT SkylarkSSAITargets NAMESPACE SkylarkSSAI::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI COMPONENT dev)

# The player contract suite: the config loads it where GoogleTest is found,
# and find_package(SkylarkSSAI COMPONENTS player_contract) insists on it.
if(TARGET skylark_player_contract)
  install(TARGETS skylark_player_contract EXPORT SkylarkSSAIPlayerContract
          FILE_SET HEADERS DESTINATION include/skylark_ssai COMPONENT dev)
  install(EXPORT SkylarkSSAIPlayerContract NAMESPACE SkylarkSSAI::
          FILE SkylarkSSAIPlayerContractTargets.cmake
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI COMPONENT dev)
endif()
configure_package_config_file(cmake/SkylarkSSAIConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/SkylarkSSAIConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/SkylarkSSAI COMPONENT dev)
