# Run at each installation, with the prefix that it is given: the unit, which contains the paths of the program and of its
# configuration, and the configuration. Needs FOLDER, where it was made, TEMPLATE, the source of the unit, and BINDIR and
# SYSCONFDIR, which are relative to the prefix or absolute.
set(bindir "${BINDIR}")
cmake_path(ABSOLUTE_PATH bindir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
set(sysconfdir "${SYSCONFDIR}")
if(CMAKE_INSTALL_PREFIX MATCHES "^(/usr)?/?$")
  # The configuration of the system's own programs is not below their prefix.
  cmake_path(ABSOLUTE_PATH sysconfdir BASE_DIRECTORY "/" NORMALIZE)
else()
  cmake_path(ABSOLUTE_PATH sysconfdir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
endif()

set(unit "${CMAKE_INSTALL_PREFIX}/lib/systemd/system/postwarden-service.service")
message(STATUS "Installing: $ENV{DESTDIR}${unit}")
configure_file("${TEMPLATE}" "$ENV{DESTDIR}${unit}" @ONLY
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${unit}")

set(configuration "$ENV{DESTDIR}${sysconfdir}/postwarden/service.conf")
cmake_path(ABSOLUTE_PATH configuration)
if(EXISTS "${configuration}")
  message(STATUS "Kept as it is: ${configuration}") # the administrator may have changed it
else()
  file(INSTALL DESTINATION "${sysconfdir}/postwarden" TYPE FILE FILES "${FOLDER}/service.conf")
endif()
