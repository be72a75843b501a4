# vexa_shared_library(NAME SOURCES… [LINK …]): a versioned shared library with the target and alias names
# of this project, installed beside the others, whose exports are what NAME.map lists beside its sources; the tests hold them against its headers.
function(vexa_shared_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_library(${name} SHARED ${arg_SOURCES})
  add_library(vexa::${name} ALIAS ${name})
  set_property(GLOBAL APPEND PROPERTY VEXA_SHARED_LIBRARIES ${name})
  target_include_directories(
    ${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/backend/tables> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PRIVATE ${arg_LINK})
  set_target_properties(
    ${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                       INSTALL_RPATH $ORIGIN LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  target_link_options(${name} PRIVATE -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  target_compile_features(${name} INTERFACE cxx_std_17)
  install(TARGETS ${name} EXPORT vexa-targets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
endfunction()
