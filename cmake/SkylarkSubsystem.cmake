# skylark_subsystem(NAME SOURCES ... DEPENDS ... PRIVATE_DEPENDS ...)
# Each src/ folder is its own static target, linked only to what it builds on,
# so a layering mistake fails the link instead of a review.
function(skylark_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  set(target skylark_${name})
  add_library(${target} STATIC ${ARG_SOURCES})
  add_library(SkylarkSSAI::${name} ALIAS ${target})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:include/skylark_ssai>)
  target_link_libraries(${target} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  set_property(GLOBAL APPEND PROPERTY SKYLARK_SUBSYSTEMS ${target})
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/ DESTINATION include/skylark_ssai/${folder}
          FILES_MATCHING PATTERN "*.h")
endfunction()
