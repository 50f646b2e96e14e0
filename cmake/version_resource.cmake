# postwarden_version_resource(TARGET FILE DESCRIPTION [GERMAN]): gives a program or library for Windows the version of the
# project as a resource, from which the installer takes the version and the language of the file, English unless GERMAN is
# specified. FILE is the name of the built file. Also makes the image relocatable, without executable data and without the
# time of the build.
function(postwarden_version_resource target file description)
  cmake_parse_arguments(PARSE_ARGV 3 in "GERMAN" "" "")
  set(language 9)
  if(in_GERMAN)
    set(language 7)
  endif()
  set(language_digits "0${language}")
  cmake_path(GET file STEM stem)
  if(file MATCHES "\\.exe$")
    set(type VFT_APP)
  else()
    set(type VFT_DLL)
  endif()
  string(REPLACE "." "," numbers "${PROJECT_VERSION}.0")
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${stem}_version.rc")
  configure_file("${CMAKE_SOURCE_DIR}/cmake/version_resource.rc.in" "${resource}" @ONLY)
  target_sources(${target} PRIVATE "${resource}")
  target_link_options(${target} PRIVATE
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat -Wl,--no-insert-timestamp)
endfunction()
