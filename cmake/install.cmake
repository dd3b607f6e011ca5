# What `cmake --install` lays down, and the zip that CPack makes of it.
#
# Windows: bin/ (DLL, monitor), lib/ (import libraries, .def, CMake package).
# Linux: lib/vlpbidi/ holds the two libraries, the monitor and its demo machine together,
# because the monitor looks for the library, and the layer for its machine, beside itself;
# bin/vlpmon leads there. SDK-named headers of the layer in include/vlpbidi/sdk/.
# Both: include/vlpbidi.h, docs and the example in share/doc/vlpbidi/.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

if(WIN32)
  # A cross build has no multiarch folders.
  set(CMAKE_INSTALL_LIBDIR lib)
  set(vlp_library_dir ${CMAKE_INSTALL_LIBDIR})
  set(vlp_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VlpBidi)
else()
  set(vlp_library_dir ${CMAKE_INSTALL_LIBDIR}/vlpbidi)
  set(vlp_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VlpBidi)
endif()

target_include_directories(VlpBidi INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS VlpBidi EXPORT VlpBidiTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${vlp_library_dir}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/vlpbidi.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

if(WIN32)
  install(TARGETS vlpmon RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_BINARY_DIR}/VlpBidi.lib provider/provider.def
          DESTINATION ${CMAKE_INSTALL_LIBDIR})
else()
  set_target_properties(vlp_platform_calls PROPERTIES EXPORT_NAME Platform)
  target_include_directories(vlp_platform_calls SYSTEM INTERFACE
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vlpbidi/sdk>)
  install(TARGETS vlp_platform_calls EXPORT VlpBidiTargets LIBRARY DESTINATION ${vlp_library_dir})
  install(TARGETS vlpmon RUNTIME DESTINATION ${vlp_library_dir})
  install(DIRECTORY machines/demo DESTINATION ${vlp_library_dir}/machines)
  install(DIRECTORY platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vlpbidi/sdk)
  # Both names are folders of the package, wherever that is put.
  file(RELATIVE_PATH vlp_from_bin /${CMAKE_INSTALL_BINDIR} /${vlp_library_dir})
  file(CREATE_LINK ${vlp_from_bin}/vlpmon ${PROJECT_BINARY_DIR}/vlpmon_link SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/vlpmon_link DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME vlpmon)
  file(RELATIVE_PATH vlp_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(cmake/vlpbidi.pc.in ${PROJECT_BINARY_DIR}/vlpbidi.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vlpbidi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

configure_package_config_file(cmake/VlpBidiConfig.cmake.in
    ${PROJECT_BINARY_DIR}/VlpBidiConfig.cmake INSTALL_DESTINATION ${vlp_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VlpBidiConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(EXPORT VlpBidiTargets NAMESPACE VlpBidi:: DESTINATION ${vlp_package_dir})
install(FILES ${PROJECT_BINARY_DIR}/VlpBidiConfig.cmake
              ${PROJECT_BINARY_DIR}/VlpBidiConfigVersion.cmake DESTINATION ${vlp_package_dir})

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vlpbidi)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vlpbidi/docs
        FILES_MATCHING PATTERN "*.md" PATTERN "*.c")

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME VlpBidi)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Bi-directional printer communication provider")
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_SYSTEM_NAME windows-x64)
else()
  set(CPACK_SYSTEM_NAME linux-${CMAKE_SYSTEM_PROCESSOR})
endif()
include(CPack)
