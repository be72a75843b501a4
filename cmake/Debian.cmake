# Debian packages of the three components, for `cpack -G DEB`; scripts/package configures the build for them: below
# /usr, where the loader finds the libraries without an RPATH.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr" OR NOT CMAKE_SKIP_INSTALL_RPATH)
  return()
endif()

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "vexa maintainers <maintainers@vexa.example>")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(folder ${PROJECT_BINARY_DIR}/debian)
configure_file(cmake/debian/changelog.in ${folder}/changelog @ONLY)
configure_file(cmake/debian/shlibs.in ${folder}/shlibs @ONLY)
file(COPY cmake/debian/copyright cmake/debian/triggers CHANGELOG.md DESTINATION ${folder})
execute_process(COMMAND gzip -9nf changelog CHANGELOG.md WORKING_DIRECTORY ${folder} COMMAND_ERROR_IS_FATAL ANY)

# debian_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION DEPENDS)
function(debian_package component name section summary description depends)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
  install(FILES ${folder}/copyright ${folder}/changelog.gz ${folder}/CHANGELOG.md.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
          COMPONENT ${component})
endfunction()

set(what "Means, covariances, correlations and sums of cross-products in one pass,
weighted, with gaps, by groups, on all cores, the same bits every time.")
debian_package(runtime libvexa0 libs "one-pass statistical accumulators (shared libraries)" "${what}" "")
debian_package(dev libvexa-dev libdevel "one-pass statistical accumulators (headers)"
               "${what}\n.\nWhat a program is built against: CMake and pkg-config find it as vexa."
               "libvexa0 (= ${PROJECT_VERSION})")
debian_package(program vexa-stats math "statistics of data files of any size in one pass"
               "Covariances, correlations, regressions and discriminant analyses of CSV
files, in one pass and a few dozen megabytes of memory."
               "libvexa0 (= ${PROJECT_VERSION})")
install(CODE "execute_process(COMMAND gzip -9nf \$ENV{DESTDIR}${CMAKE_INSTALL_FULL_MANDIR}/man1/vexa-stats.1
                              COMMAND_ERROR_IS_FATAL ANY)" COMPONENT program)
# What packages built against these libraries depend on, and the loader's cache, which CPack's own scripts renew too.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${folder}/shlibs ${folder}/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # or it becomes the first line of all three descriptions
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime dev program)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_IGNORE_GROUPS ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_SOURCE vexa)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/backend/vexa ${PROJECT_BINARY_DIR}/backend/sfthread
                                                ${PROJECT_BINARY_DIR}/backend/quorwlib)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
include(CPack)
