# Writes OUTPUT from TEMPLATE with the version and the commit of SOURCE, unless it already contains them:
#   cmake -D SOURCE=FOLDER -D VERSION=N.N.N -D TEMPLATE=FILE -D OUTPUT=FILE -P program_version.cmake
set(version "${VERSION}")
if(EXISTS "${SOURCE}/.git")
  execute_process(COMMAND git describe --always --dirty --abbrev=12 --exclude=*
    WORKING_DIRECTORY "${SOURCE}"
    OUTPUT_VARIABLE commit
    ERROR_QUIET
    OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE failed)
  if(NOT failed)
    string(APPEND version " (${commit})")
  endif()
endif()
configure_file("${TEMPLATE}" "${OUTPUT}" @ONLY)
