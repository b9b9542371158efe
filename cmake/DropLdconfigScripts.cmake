# CPack post-build script: CPack gives every package with a shared library in
# /usr/lib a postinst and a postrm that only call ldconfig. Debian updates the
# linker cache through the ldconfig trigger instead (the package's triggers
# file), and lintian warns about the calls (maintscript-calls-ldconfig). This
# rebuilds each such package without those two scripts; a script that does
# anything else is kept.
find_program(DPKG_DEB dpkg-deb REQUIRED)
set(cpack_ldconfig_script "^#!/bin/sh\n+set -e\n+if \\[ \"\\$1\" = \"(configure|remove)\" \\]; then\n\tldconfig\nfi\n*$")

foreach(deb IN LISTS CPACK_PACKAGE_FILES)
  if(NOT deb MATCHES "\\.deb$")
    continue()
  endif()
  set(tree ${CPACK_TOPLEVEL_DIRECTORY}/ldconfig-repack)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND ${DPKG_DEB} --raw-extract ${deb} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  set(dropped FALSE)
  foreach(script postinst postrm)
    if(EXISTS ${tree}/DEBIAN/${script})
      file(READ ${tree}/DEBIAN/${script} text)
      if(text MATCHES "${cpack_ldconfig_script}")
        file(REMOVE ${tree}/DEBIAN/${script})
        set(dropped TRUE)
      endif()
    endif()
  endforeach()
  if(dropped)
    execute_process(COMMAND ${DPKG_DEB} --root-owner-group -Zgzip --build ${tree} ${deb}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    message(STATUS "CPack: ${deb}: ldconfig left to the trigger")
  endif()
  file(REMOVE_RECURSE ${tree})
endforeach()
