# Installation: the host, the plug-in bundle and the platform libraries under a prefix, and the
# Quellbark application bundle in an Applications folder where Launch Services looks for it.
#
#   <prefix>/bin/mailhost          starts <prefix>/libexec/mailhost, the host's program
#   <prefix>/bin/Quellbark        a symbolic link to the application's executable
#   <prefix>/lib/QuellbarkPlugIn.so, libCoreFoundation.so, libCoreServices.so, libxpcom.so
#   <prefix>/lib/mailhost-imap.so  the host's IMAP client, loaded when it first talks IMAP
#   <QB_APP_DIR>/Quellbark.app/Contents/{Info.plist,PkgInfo,MacOS/Quellbark}
#   <prefix>/share/man/man1/mailhost.1, Quellbark.1
#   <prefix>/share/bash-completion/completions/mailhost
#   <unit folder>/quellbark.service  the systemd user unit (below), and mailhost-watch(@).service
#
# The host finds its libraries, the bundle and its IMAP module beside itself ($ORIGIN/../lib), so
# the prefix can be anywhere. The application's folder is chosen apart from the prefix, so its
# executable names the prefix's lib folder by absolute path: the prefix is fixed when the tree is
# configured (`make install` configures both).
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT AND DEFINED ENV{HOME})
  set(CMAKE_INSTALL_PREFIX "$ENV{HOME}/.local" CACHE PATH "Installation prefix" FORCE)
endif()
if(DEFINED ENV{HOME})
  set(qb_default_app_dir "$ENV{HOME}/Applications")
else()
  set(qb_default_app_dir "/Applications")
endif()
set(QB_APP_DIR "${qb_default_app_dir}" CACHE PATH
    "Folder that receives Quellbark.app (searched by Launch Services: ~/Applications, /Applications)")

# Where systemd --user looks for units: for the user's own prefix (~/.local) the user's data
# folder (~/.local/share/systemd/user), otherwise the prefix's lib/systemd/user (read by
# systemd for /usr and /usr/local). Chosen anew for each prefix unless set.
set(QB_SYSTEMD_USER_DIR "" CACHE PATH
    "Folder that receives the systemd user unit quellbark.service (empty: from the prefix)")
if(QB_SYSTEMD_USER_DIR)
  set(qb_unit_dir "${QB_SYSTEMD_USER_DIR}")
elseif(DEFINED ENV{HOME} AND CMAKE_INSTALL_PREFIX STREQUAL "$ENV{HOME}/.local")
  set(qb_unit_dir "${CMAKE_INSTALL_PREFIX}/share/systemd/user")
else()
  set(qb_unit_dir "${CMAKE_INSTALL_PREFIX}/lib/systemd/user")
endif()
set(QB_UNIT_INSTALL_DIR "${qb_unit_dir}" CACHE INTERNAL "where quellbark.service is installed")

set(qb_installed_libraries CoreFoundation CoreServices xpcom QuellbarkPlugIn mailhost-imap)
foreach(library ${qb_installed_libraries})
  # Installed side by side, so each library finds the others in its own folder.
  # The same path serves the build tree, whose lib folder is laid out alike: no path to rewrite
  # at install, so none padded with empty entries (which the loader reads as the current folder).
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
  install(TARGETS ${library} LIBRARY DESTINATION lib)
endforeach()

# The manual pages carry the project's version; the build tree has them in man/man1.
foreach(page mailhost Quellbark)
  configure_file(${PROJECT_SOURCE_DIR}/docs/man/${page}.1 ${CMAKE_BINARY_DIR}/man/man1/${page}.1
                 @ONLY)
endforeach()

set_target_properties(mailhost-program PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
install(TARGETS mailhost RUNTIME DESTINATION bin)
install(TARGETS mailhost-program RUNTIME DESTINATION libexec)
install(FILES ${CMAKE_BINARY_DIR}/man/man1/mailhost.1 DESTINATION share/man/man1)
install(FILES ${PROJECT_SOURCE_DIR}/host/completion/mailhost.bash
        DESTINATION share/bash-completion/completions RENAME mailhost)

set(qb_app ${QB_APP_DIR}/Quellbark.app/Contents)
set_target_properties(quellbark-app PROPERTIES INSTALL_RPATH "${CMAKE_INSTALL_PREFIX}/lib")
install(FILES ${CMAKE_BINARY_DIR}/Quellbark.app/Contents/Info.plist
              ${CMAKE_BINARY_DIR}/Quellbark.app/Contents/PkgInfo
        DESTINATION ${qb_app})
install(TARGETS quellbark-app RUNTIME DESTINATION ${qb_app}/MacOS)
install(FILES ${CMAKE_BINARY_DIR}/man/man1/Quellbark.1 DESTINATION share/man/man1)

# The command on PATH is a link into the bundle: the application knows its bundle (and so its
# signature) by where its executable really lies.
set(QB_APP_EXECUTABLE "${qb_app}/MacOS/Quellbark")
install(CODE "
  set(link \"\$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/bin/Quellbark\")
  file(MAKE_DIRECTORY \"\$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/bin\")
  file(REMOVE \"\${link}\")
  file(CREATE_LINK \"${QB_APP_EXECUTABLE}\" \"\${link}\" SYMBOLIC)
  message(STATUS \"Installing: \${link} -> ${QB_APP_EXECUTABLE}\")
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"${CMAKE_INSTALL_PREFIX}/bin/Quellbark\")")

configure_file(${PROJECT_SOURCE_DIR}/companion/service/quellbark.service.in
               ${CMAKE_BINARY_DIR}/quellbark.service @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/quellbark.service DESTINATION ${qb_unit_dir})

# The IMAP watch's user units: all accounts, or one account per instance.
foreach(unit mailhost-watch.service mailhost-watch@.service)
  configure_file(${PROJECT_SOURCE_DIR}/host/systemd/${unit}.in ${CMAKE_BINARY_DIR}/${unit} @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${unit} DESTINATION ${qb_unit_dir})
endforeach()
