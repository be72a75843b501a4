# What an installation has besides its binaries, in three components: `runtime` are the shared libraries, `dev` is
# what a program is built against, `program` is vexa-stats. Nothing in it names the folder that it is installed into.
include(CMakePackageConfigHelpers)

install(DIRECTORY backend/tables/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN *.h)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vexa)
install(EXPORT vexa-targets NAMESPACE vexa:: DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(cmake/vexa-config.cmake.in ${PROJECT_BINARY_DIR}/vexa-config.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vexa-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vexa-config.cmake ${PROJECT_BINARY_DIR}/vexa-config-version.cmake
        DESTINATION ${package_dir} COMPONENT dev)

file(RELATIVE_PATH VEXA_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VEXA_PREFIX_FROM_PC "${VEXA_PREFIX_FROM_PC}")
configure_file(cmake/vexa.pc.in ${PROJECT_BINARY_DIR}/vexa.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vexa.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# As Debian names the folders.
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvexa-dev COMPONENT dev)
install(DIRECTORY docs/decisions DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvexa-dev COMPONENT dev)
install(FILES docs/embedding.md docs/numerics.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvexa-dev COMPONENT dev)
