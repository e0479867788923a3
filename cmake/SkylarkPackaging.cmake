# Debian packages of a SKYLARK_SHARED build, one per install component:
#   libskylark-ssai0     the shared library
#   libskylark-ssai-dev  headers, the link name, CMake and pkg-config files
#   skylark-ssai-tools   the skylark-ssai tool
# `cpack --config build/package/CPackConfig.cmake` writes them; dpkg-shlibdeps
# finds what each binary needs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME skylark-ssai)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Skylark SSAI developers <skylark-ssai@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Server-side ad insertion for a video player")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# The tool needs the library of this same build, not yet installed anywhere.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libskylark-ssai0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libskylark-ssai-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# What the CMake files find, and what pkg-config reads through Requires.private.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "libfmt-dev, nlohmann-json3-dev, libxml2-dev, libcurl4-openssl-dev | libcurl-dev, libicu-dev")
# SkylarkSSAI::player_contract is there for an application that has GoogleTest.
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "libgtest-dev")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME skylark-ssai-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
if(TARGET skylark_host_gst)
  # --player gst plays HLS with these; the tool runs without them.
  set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS
    "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, gstreamer1.0-libav")
endif()

include(CPack)
cpack_add_component(runtime DESCRIPTION "Server-side ad insertion for a video player: the shared library")
cpack_add_component(dev DEPENDS runtime
  DESCRIPTION "Server-side ad insertion for a video player: headers, CMake and pkg-config files")
cpack_add_component(tools DEPENDS runtime
  DESCRIPTION "Server-side ad insertion for a video player: the skylark-ssai tool")
