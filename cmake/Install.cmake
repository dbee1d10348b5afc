# Installation: the host, the plug-in bundle and the platform libraries under a prefix, and the
# Quellbark application bundle in an Applications folder where Launch Services looks for it.
#
#   <prefix>/bin/mailhost
#   <prefix>/lib/QuellbarkPlugIn.so, libCoreFoundation.so, libCoreServices.so, libxpcom.so
#   <QB_APP_DIR>/Quellbark.app/Contents/{Info.plist,PkgInfo,MacOS/Quellbark}
#   <prefix>/share/man/man1/mailhost.1, Quellbark.1
#   <prefix>/share/bash-completion/completions/mailhost
#
# The host finds its libraries and the bundle beside itself ($ORIGIN/../lib), so the prefix can
# be anywhere. The application's folder is chosen apart from the prefix, so its executable
# names the prefix's lib folder by absolute path: the prefix is fixed when the tree is
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

set(qb_installed_libraries CoreFoundation CoreServices xpcom QuellbarkPlugIn)
foreach(library ${qb_installed_libraries})
  if(TARGET ${library})
    # Installed side by side, so each library finds the others in its own folder.
    set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS ${library} LIBRARY DESTINATION lib)
  endif()
endforeach()

# The manual pages carry the project's version; the build tree has them in man/man1.
foreach(page mailhost Quellbark)
  configure_file(${PROJECT_SOURCE_DIR}/docs/man/${page}.1 ${CMAKE_BINARY_DIR}/man/man1/${page}.1
                 @ONLY)
endforeach()

if(TARGET mailhost)
  install(TARGETS mailhost RUNTIME DESTINATION bin)
  install(FILES ${CMAKE_BINARY_DIR}/man/man1/mailhost.1 DESTINATION share/man/man1)
  install(FILES ${PROJECT_SOURCE_DIR}/host/completion/mailhost.bash
          DESTINATION share/bash-completion/completions RENAME mailhost)
endif()

if(TARGET quellbark-app)
  set(qb_app ${QB_APP_DIR}/Quellbark.app/Contents)
  set_target_properties(quellbark-app PROPERTIES INSTALL_RPATH "${CMAKE_INSTALL_PREFIX}/lib")
  install(FILES ${CMAKE_BINARY_DIR}/Quellbark.app/Contents/Info.plist
                ${CMAKE_BINARY_DIR}/Quellbark.app/Contents/PkgInfo
          DESTINATION ${qb_app})
  install(TARGETS quellbark-app RUNTIME DESTINATION ${qb_app}/MacOS)
  install(FILES ${CMAKE_BINARY_DIR}/man/man1/Quellbark.1 DESTINATION share/man/man1)
endif()
