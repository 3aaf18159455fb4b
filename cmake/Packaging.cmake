# Man pages and the Debian packages (scripts/package). Two install components, one package each:
#   desktop -> stashwell: the program, its desktop entry, icon, metainfo and man page
#   server  -> stashwell-server: the reference web service and its man page

# stashwell_man_page(<target> <summary> <component>): man1/<target>.1.gz written by help2man
# from the program's --help and --version each time <target> is linked.
find_program(HELP2MAN help2man)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/man)
function(stashwell_man_page target summary component)
  if(NOT HELP2MAN)
    message(STATUS "help2man not found: no man page for ${target}")
    return()
  endif()
  set(page ${CMAKE_BINARY_DIR}/man/${target}.1)
  # HOME=~: defaults under the home directory read "~/...", not the home of whoever builds.
  add_custom_command(OUTPUT ${page}.gz
    COMMAND ${CMAKE_COMMAND} -E env HOME=~ ${HELP2MAN} --no-info --name=${summary} --output=${page}
            $<TARGET_FILE:${target}>
    COMMAND gzip -9nf ${page}
    DEPENDS ${target} VERBATIM)
  add_custom_target(${target}-man ALL DEPENDS ${page}.gz)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()

stashwell_man_page(stashwell "clipboard history for the X11 desktop" desktop)
set(CPACK_COMPONENTS_ALL desktop)
if(TARGET stashwell-server)
  stashwell_man_page(stashwell-server "reference web service for Stashwell" server)
  list(APPEND CPACK_COMPONENTS_ALL server)
endif()

# The Debian revision comes from the newest entry of resources/debian/changelog, which must be
# for this version.
file(STRINGS resources/debian/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^stashwell \\(([^)]+)-([^)-]+)\\)" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "resources/debian/changelog: the newest entry is not for ${PROJECT_VERSION}: ${newest}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})

# /usr/share/doc/<package>/: the copyright and the Debian changelog. Only the packages carry
# them (EXCLUDE_FROM_ALL keeps them out of a plain `cmake --install`).
set(changelog ${CMAKE_BINARY_DIR}/debian/changelog.Debian)
add_custom_command(OUTPUT ${changelog}.gz
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/resources/debian/changelog ${changelog}
  COMMAND gzip -9nf ${changelog}
  DEPENDS resources/debian/changelog VERBATIM)
add_custom_target(debian-changelog ALL DEPENDS ${changelog}.gz)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME stashwell)
set(CPACK_DEBIAN_SERVER_PACKAGE_NAME stashwell-server)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} COMPONENT)
  install(FILES resources/debian/copyright ${changelog}.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME stashwell)
set(CPACK_PACKAGE_CONTACT "Norvane <packages@stashwell.example>")
set(CPACK_PACKAGE_HOMEPAGE_URL https://stashwell.example/)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE stashwell)
# Depends: the libraries the binaries link (dpkg-shlibdeps) and the plug-ins Qt loads at run time.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_DESKTOP_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS "qt6-qpa-plugins, libsecret-1-0")
set(CPACK_DEBIAN_DESKTOP_PACKAGE_RECOMMENDS "qt6-translations-l10n, qt6-image-formats-plugins")
set(CPACK_DEBIAN_DESKTOP_DESCRIPTION "clipboard history in the system tray
Stashwell keeps everything you copy: text, rich text, images, links, files and
colours go into a history on this machine. Super+Shift+V opens a palette over
the current window; type to search, pick an entry, and it is pasted into the
window you were in. The stashwell command controls the running program.
Copies from password managers are never recorded. Runs on X11 desktops with a
system tray.")

set(CPACK_DEBIAN_SERVER_PACKAGE_SECTION net)
set(CPACK_DEBIAN_SERVER_PACKAGE_DEPENDS libqt6sql6-sqlite)
set(CPACK_DEBIAN_SERVER_DESCRIPTION "self-hostable web service for Stashwell
stashwell-server serves what Stashwell's optional online features use: sign-in
in the browser, settings sync between machines, and the upload of anonymous
statistics and crash reports. It keeps everything in one SQLite file.")

include(CPack)
