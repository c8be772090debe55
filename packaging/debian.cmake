# The Debian packages, made by packaging/make-deb: kelv (the programs with the engine) and kelv-dev (what other programs need to
# build with the engine).
set(KELV_MAINTAINER "kelv maintainers <maintainers@kelv.example.org>" CACHE STRING "The maintainer whom the Debian packages name")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_NAME kelv)
set(CPACK_PACKAGE_VENDOR kelv)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL programs development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KELV_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME kelv)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
# kelvara compare draws pages with poppler.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS poppler-utils)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SUGGESTS "libnotify-bin, parallel")
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "make PDF files smaller from the terminal
kelv re-codes pictures for the resolution at which a page shows them,
subsets and merges fonts, drops what is stored twice or never used, and
packs the rest tightly. Links, outlines, forms, tags and attachments stay,
and so does the original file.

Beside it stand its engine, the companion kelvara, which grants access and
makes profiles, and an action for the file managers.")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/triggers)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME kelv-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "kelv (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "build programs with kelv's PDF optimization engine
The C header of the engine libPdfOptimizeAPI, with its descriptions for CMake
and pkg-config.")

# Debian's documents; the changelog's dates are those of its entries, so that the same tree gives the same package.
foreach(component programs development)
  if(component STREQUAL programs)
    set(place ${CMAKE_INSTALL_DATADIR}/doc/kelv)
  else()
    set(place ${CMAKE_INSTALL_DATADIR}/doc/kelv-dev)
  endif()
  install(FILES debian/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${place} COMPONENT ${component})
endforeach()
install(FILES debian/kelv.lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME kelv)
add_custom_command(OUTPUT changelog.gz DEPENDS debian/changelog VERBATIM
  COMMAND gzip -9nc ${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog > changelog.gz)
add_custom_target(debian_changelog ALL DEPENDS changelog.gz)
include(CPack)
