# Installed: the shared libraries, their headers, the command with its manual and completions, the
# CMake package `sqxer` and its pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS xeutility sqxerexpr EXPORT sqxerTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET sqxer)
  install(TARGETS sqxerfront EXPORT sqxerTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  set_target_properties(sqxerfront PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(DIRECTORY server/include/Engine DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sqxer
          FILES_MATCHING PATTERN "*.h")
  install(TARGETS sqxer RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_BINARY_DIR}/tools/sqxer/sqxer.1
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  # Where the shells look by themselves.
  set(completion ${PROJECT_SOURCE_DIR}/tools/sqxer/completion)
  install(FILES ${completion}/sqxer.bash RENAME sqxer
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${completion}/_sqxer DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES ${completion}/sqxer.fish
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  set_target_properties(sqxer PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()
set_target_properties(sqxerexpr PROPERTIES INSTALL_RPATH "$ORIGIN")

install(DIRECTORY server/include/Utility DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sqxer
        FILES_MATCHING PATTERN "*.h")
install(DIRECTORY server/Query/Execution/Expr/Src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sqxer
        FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/sqxer)
install(EXPORT sqxerTargets NAMESPACE sqxer:: DESTINATION ${package_dir})
configure_package_config_file(cmake/sqxerConfig.cmake.in ${PROJECT_BINARY_DIR}/sqxerConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/sqxerConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
# Found relative to itself, so that an installed tree can be moved.
file(RELATIVE_PATH pkgconfig_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/sqxer.pc.in ${PROJECT_BINARY_DIR}/sqxer.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sqxerConfig.cmake ${PROJECT_BINARY_DIR}/sqxerConfigVersion.cmake
        DESTINATION ${package_dir})
install(FILES ${PROJECT_BINARY_DIR}/sqxer.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
