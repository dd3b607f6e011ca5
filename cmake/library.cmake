# vlp_export_library(NAME ROOM target [LINKS ...] DEF file MAP file RESOURCE file.in):
# the library that ships, with the one export that DEF and MAP name.
#
# ROOM is the static library that holds the export and DllMain. Its objects are
# linked whole, because nothing inside the library refers to the export; the rooms
# below it are pulled in as needed. On Linux the target vlp_module_entry turns
# loading and unloading into calls of DllMain.
if(WIN32)
  enable_language(RC)
endif()

function(vlp_export_library name)
  cmake_parse_arguments(ARG "" "ROOM;DEF;MAP;RESOURCE" "LINKS" ${ARGN})
  foreach(needed ROOM DEF MAP RESOURCE)
    if(NOT ARG_${needed})
      message(FATAL_ERROR "vlp_export_library(${name}): ${needed} is missing")
    endif()
  endforeach()
  cmake_path(ABSOLUTE_PATH ARG_DEF)
  cmake_path(ABSOLUTE_PATH ARG_MAP)
  cmake_path(ABSOLUTE_PATH ARG_RESOURCE)

  add_library(${name} SHARED $<TARGET_OBJECTS:${ARG_ROOM}>)
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_link_libraries(${name} PRIVATE ${ARG_ROOM} ${ARG_LINKS})
  if(WIN32)
    _vlp_export_windows(${name} ${ARG_DEF} ${ARG_RESOURCE})
  else()
    _vlp_export_linux(${name} ${ARG_MAP})
  endif()
endfunction()

function(_vlp_export_windows name def resource)
  set(VLP_FILE_NAME ${name}.dll)
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${name}_version.rc)
  configure_file(${resource} ${rc} @ONLY)
  target_sources(${name} PRIVATE ${def} ${rc})
  # No "lib" before the DLL; both import libraries lie beside it.
  set_target_properties(${name} PROPERTIES
      PREFIX "" IMPORT_PREFIX "lib" IMPORT_SUFFIX ".dll.a"
      ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}
      LINK_DEPENDS ${def})
  add_custom_command(TARGET ${name} POST_BUILD
      COMMAND ${CMAKE_DLLTOOL} -m i386:x86-64 -d ${def} -D ${name}.dll
              -l ${PROJECT_BINARY_DIR}/${name}.lib
      BYPRODUCTS ${PROJECT_BINARY_DIR}/${name}.lib
      VERBATIM)
endfunction()

function(_vlp_export_linux name map)
  # The version as bytes in a section of its own: no symbol, so nothing to export.
  set(version_source ${CMAKE_CURRENT_BINARY_DIR}/${name}_version.cpp)
  set(VLP_VERSION_TEXT "${name} ${PROJECT_VERSION}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version_section.cpp.in ${version_source} @ONLY)
  target_sources(${name} PRIVATE ${version_source})

  target_link_libraries(${name} PRIVATE vlp_module_entry)
  target_link_options(${name} PRIVATE -Wl,--version-script=${map})
  # The sanitizers' own calls are resolved by the program, not by the library.
  if(NOT VLPBIDI_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()
  set_target_properties(${name} PROPERTIES
      LINK_DEPENDS ${map} BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
endfunction()
