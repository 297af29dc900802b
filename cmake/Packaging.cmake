# Packaging of tabrun with CPack: a Debian binary package, or in the Windows cross build
# (cmake/mingw-w64.cmake) a zip: cd build-win && cpack -G ZIP.
#
#   cmake -B build -DCMAKE_BUILD_TYPE=Release -DTABRUN_BUILD_TESTS=OFF
#   cmake --build build
#   cd build && cpack -G DEB          # -> tabrun_<version>_<arch>.deb
#
# The package carries what `cmake --install` installs (bin/tabrun and
# share/man/man1/tabrun.1) under /usr, with the manual page gzipped as Debian
# policy asks, and the copyright file and changelogs under /usr/share/doc/tabrun;
# `cmake --install` itself keeps the plain manual page.

set(CPACK_PACKAGE_NAME "tabrun")
set(CPACK_PACKAGE_VENDOR "tabrun maintainers")
set(CPACK_PACKAGE_CONTACT "tabrun maintainers <tabrun@example.org>")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VERSION_MAJOR "${PROJECT_VERSION_MAJOR}")
set(CPACK_PACKAGE_VERSION_MINOR "${PROJECT_VERSION_MINOR}")
set(CPACK_PACKAGE_VERSION_PATCH "${PROJECT_VERSION_PATCH}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
# The long description; CPack puts the summary above it as the first line of the
# Description field and indents and dot-fills the lines as Debian wants.
# (No double quotes in it: CPack does not carry them through to the package.)
set(CPACK_PACKAGE_DESCRIPTION
"tabrun is started without arguments in a directory that holds the *.log
files of a batch of Kolvaran profile-refinement runs. It has the shell list
them into list_log with ls -l, reads every log once and writes one
fixed-column line per run to log.res: how the run ended, the CPU time it
used and the Chi2 or R-F2 figure that the log states for its result. Monte
Carlo and simulated-annealing runs are recognised as well.

Runs that could not be summarised (missing log, bad end, no control file,
no CPU time) are reported on standard output, together with the total CPU
time of the batch and a warning when too many runs failed.

For scripts, tabrun --csv and tabrun --json read the logs of the directories
they are given, without the shell, and write one CSV row or one JSON object
per log to standard output: its status, control file, CPU seconds and fit
figures.")

set(CPACK_STRIP_FILES ON)
if(WIN32)
  # Windows: a zip of one folder, tabrun-<version>-windows-x86_64, with tabrun.exe in it.
  set(CPACK_GENERATOR "ZIP")
  set(CPACK_PACKAGE_FILE_NAME "tabrun-${PROJECT_VERSION}-windows-x86_64")
  include(CPack)
  return()
endif()
set(CPACK_GENERATOR "DEB")

# Debian control fields.
set(CPACK_DEBIAN_PACKAGE_NAME "tabrun")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "tabrun maintainers <tabrun@example.org>")
set(CPACK_DEBIAN_PACKAGE_SECTION "science")
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Depends is computed from the binary by dpkg-shlibdeps (package dpkg-dev).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# The package's /usr/share/doc/tabrun: CHANGELOG.md, and the Debian changelog
# that a native package must carry, made here from the release headings of
# CHANGELOG.md ("## [X.Y.Z] - YYYY-MM-DD"), newest first.
set(_tabrun_changelog_md "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
set(_tabrun_debian_changelog "${PROJECT_BINARY_DIR}/debian-changelog")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${_tabrun_changelog_md}")
# The DEB generator installs under /usr (its default CPACK_PACKAGING_INSTALL_PREFIX).
set(_tabrun_docdir "/usr/share/doc/${CPACK_PACKAGE_NAME}")
set(_entries "")
set(_have_current_release OFF)
if(EXISTS "${_tabrun_changelog_md}")
  file(STRINGS "${_tabrun_changelog_md}" _releases
       REGEX "^## \\[[0-9]+\\.[0-9]+\\.[0-9]+\\] - [0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]")
  foreach(_release IN LISTS _releases)
    string(REGEX REPLACE "^## \\[([^]]+)\\] - ([0-9-]+).*$" "\\1;\\2" _fields "${_release}")
    list(GET _fields 0 _version)
    list(GET _fields 1 _date)
    execute_process(COMMAND date -u -R -d "${_date} 00:00:00 UTC"
                    OUTPUT_VARIABLE _rfc_date OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE _rc ERROR_QUIET)
    if(NOT _rc EQUAL 0)
      message(WARNING "CHANGELOG.md: cannot read the date of release ${_version}: ${_date}")
      continue()
    endif()
    if(_version STREQUAL PROJECT_VERSION)
      set(_have_current_release ON)
    endif()
    string(APPEND _entries
      "${CPACK_PACKAGE_NAME} (${_version}) unstable; urgency=medium\n\n"
      "  * Release ${_version}; see ${_tabrun_docdir}/CHANGELOG.md.gz.\n\n"
      " -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${_rfc_date}\n\n")
  endforeach()
endif()
if(NOT _have_current_release)
  message(WARNING "CHANGELOG.md has no dated release heading for ${PROJECT_VERSION}; "
                  "the Debian package will carry no changelog.")
  set(_entries "")
endif()
string(REGEX REPLACE "\n\n$" "\n" _entries "${_entries}")
file(WRITE "${_tabrun_debian_changelog}" "${_entries}")

# /usr/share/doc/tabrun/copyright in Debian's machine-readable format, made from LICENSE
# (the MIT licence, which Debian calls Expat): every line indented, empty ones as " .".
set(_tabrun_copyright "${PROJECT_BINARY_DIR}/debian-copyright")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/LICENSE")
file(STRINGS "${PROJECT_SOURCE_DIR}/LICENSE" _license_lines)
list(FILTER _license_lines EXCLUDE REGEX "^(MIT License|Copyright .*)$")
set(_license_text "")
foreach(_line IN LISTS _license_lines)
  if(_line STREQUAL "")
    string(APPEND _license_text " .\n")
  else()
    string(APPEND _license_text " ${_line}\n")
  endif()
endforeach()
string(REGEX REPLACE "^ \\.\n" "" _license_text "${_license_text}")
file(WRITE "${_tabrun_copyright}"
  "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
  "Upstream-Name: tabrun\n"
  "Upstream-Contact: ${CPACK_PACKAGE_CONTACT}\n"
  "\n"
  "Files: *\n"
  "Copyright: 2026 The tabrun maintainers\n"
  "License: Expat\n"
  "${_license_text}")

# Run by CPack after it has installed into the package's staging tree and before
# it builds the package: gzip the manual pages as Debian policy asks and add the
# documentation above. Only the package is affected: `cmake --install` still
# puts the plain page in share/man/man1.
find_program(TABRUN_GZIP_EXECUTABLE gzip)
mark_as_advanced(TABRUN_GZIP_EXECUTABLE)
if(TABRUN_GZIP_EXECUTABLE)
  set(_tabrun_prebuild_script "${PROJECT_BINARY_DIR}/CPackDebianExtras.cmake")
  file(CONFIGURE OUTPUT "${_tabrun_prebuild_script}" @ONLY CONTENT [=[
# Written by cmake/Packaging.cmake; run by CPack before it builds a package.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

function(tabrun_gzip file)
  # -n: no name or time stamp in the gzip header, so the result is reproducible.
  execute_process(COMMAND "@TABRUN_GZIP_EXECUTABLE@" -9 -n -f "${file}" RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "gzip failed on ${file}")
  endif()
  file(CHMOD "${file}.gz" FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()

file(GLOB_RECURSE pages LIST_DIRECTORIES false
     "${CPACK_TEMPORARY_DIRECTORY}/*/share/man/man[1-9]/*.[1-9]")
foreach(page IN LISTS pages)
  tabrun_gzip("${page}")
endforeach()

set(docdir "${CPACK_TEMPORARY_DIRECTORY}@_tabrun_docdir@")
file(MAKE_DIRECTORY "${docdir}")
file(COPY_FILE "@_tabrun_copyright@" "${docdir}/copyright")
file(CHMOD "${docdir}/copyright" FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(SIZE "@_tabrun_debian_changelog@" changelog_size)
if(changelog_size GREATER 0)
  file(MAKE_DIRECTORY "${docdir}")
  file(COPY_FILE "@_tabrun_changelog_md@" "${docdir}/CHANGELOG.md")
  file(COPY_FILE "@_tabrun_debian_changelog@" "${docdir}/changelog")
  tabrun_gzip("${docdir}/CHANGELOG.md")
  tabrun_gzip("${docdir}/changelog")
endif()
]=])
  set(CPACK_PRE_BUILD_SCRIPTS "${_tabrun_prebuild_script}")
endif()

include(CPack)
