# skylark_subsystem(NAME SOURCES ... DEPENDS ... PRIVATE_DEPENDS ...
#                   PRIVATE_HEADERS ...)
# Each src/ folder is its own static target, linked only to what it builds on,
# so a layering mistake fails the link instead of a review. Its headers are
# the target's header file set, installed, except PRIVATE_HEADERS: helpers
# that only its own sources include, which stay in the build tree.
function(skylark_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS;PRIVATE_HEADERS" ${ARGN})
  set(target skylark_${name})
  add_library(${target} STATIC ${ARG_SOURCES})
  add_library(SkylarkSSAI::${name} ALIAS ${target})
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  foreach(private ${ARG_PRIVATE_HEADERS})
    list(REMOVE_ITEM headers ${CMAKE_CURRENT_SOURCE_DIR}/${private})
  endforeach()
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src FILES ${headers})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:include/skylark_ssai>)
  target_link_libraries(${target} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  set_property(GLOBAL APPEND PROPERTY SKYLARK_SUBSYSTEMS ${target})
endfunction()
