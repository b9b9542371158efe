# vor_install_program(TARGET DESTINATION dir COMPONENT component)
#
# Installs an executable that links the project's shared libraries. CMake
# edits the RUNPATH of such a target in place on install and, to make room,
# ends its build-tree RUNPATH with ':' - an empty entry, which the loader
# reads as the working directory, where anyone may plant a library. So the
# target is linked as it is installed (no RUNPATH for CMake to edit), given
# its build-tree library directory itself, and stripped of it on install.
function(vor_install_program target)
  cmake_parse_arguments(ARG "" "DESTINATION;COMPONENT" "" ${ARGN})
  set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "")
  target_link_options(${target} PRIVATE "LINKER:-rpath,${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  install(TARGETS ${target} RUNTIME DESTINATION ${ARG_DESTINATION} COMPONENT ${ARG_COMPONENT})
  install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${ARG_DESTINATION}/$<TARGET_FILE_NAME:${target}>\")"
          COMPONENT ${ARG_COMPONENT})
endfunction()
