# skylark_subsystem(NAME SOURCES ... DEPENDS ... PRIVATE_DEPENDS ...
#                   PRIVATE_HEADERS ... [STANDALONE])
# Each src/ folder is its own static target, linked only to what it builds on,
# so a layering mistake fails the link instead of a review. Its headers are
# the target's header file set, installed, except PRIVATE_HEADERS: helpers
# that only its own sources include, which stay in the build tree.
#
# With SKYLARK_SHARED the folders' code goes into the one shared library
# instead (src/CMakeLists.txt): each folder compiles to objects with hidden
# visibility, and skylark_NAME becomes a name for that library, so whatever
# links a subsystem links the shared library. A STANDALONE folder (a player
# back-end with dependencies of its own) stays a static library beside it.
function(skylark_subsystem name)
  cmake_parse_arguments(ARG "STANDALONE" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS;PRIVATE_HEADERS" ${ARGN})
  set(target skylark_${name})
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  foreach(private ${ARG_PRIVATE_HEADERS})
    list(REMOVE_ITEM headers ${CMAKE_CURRENT_SOURCE_DIR}/${private})
  endforeach()

  if(SKYLARK_SHARED AND NOT ARG_STANDALONE)
    # The other folders are parts of the same library: only the outside
    # dependencies are linked here.
    list(FILTER ARG_DEPENDS EXCLUDE REGEX "^skylark_")
    add_library(${target}_objects OBJECT ${ARG_SOURCES})
    target_include_directories(${target}_objects PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${target}_objects PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS})
    set_target_properties(${target}_objects PROPERTIES
      POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden)
    add_library(${target} INTERFACE)
    target_link_libraries(${target} INTERFACE skylark_ssai)
    add_library(SkylarkSSAI::${name} ALIAS ${target})
    set_property(GLOBAL APPEND PROPERTY SKYLARK_SHARED_PARTS ${target}_objects)
    set_property(GLOBAL APPEND PROPERTY SKYLARK_SHARED_NAMES ${target})
    set_property(GLOBAL APPEND PROPERTY SKYLARK_SHARED_HEADERS ${headers})
    set_property(GLOBAL APPEND PROPERTY SKYLARK_SHARED_INTERFACE ${ARG_DEPENDS})
    return()
  endif()

  add_library(${target} STATIC ${ARG_SOURCES})
  add_library(SkylarkSSAI::${name} ALIAS ${target})
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src FILES ${headers})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:include/skylark_ssai>)
  target_link_libraries(${target} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  if(NOT SKYLARK_SHARED)
    set_property(GLOBAL APPEND PROPERTY SKYLARK_SUBSYSTEMS ${target})
  endif()
endfunction()
