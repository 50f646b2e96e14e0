# cmake -D MODULE=file -D PROGRAM=file -D EMULATOR=command -P run_registered.cmake: runs PROGRAM once while MODULE is
# registered on the machine. All of it is one test, so that one lock of the registry covers it.
cmake_path(GET MODULE PARENT_PATH folder)
cmake_path(GET MODULE FILENAME name)

execute_process(COMMAND ${EMULATOR} regsvr32 /s ${name} WORKING_DIRECTORY "${folder}" RESULT_VARIABLE registered)
execute_process(COMMAND ${EMULATOR} "${PROGRAM}" --once RESULT_VARIABLE result)
execute_process(COMMAND ${EMULATOR} regsvr32 /s /u ${name} WORKING_DIRECTORY "${folder}" RESULT_VARIABLE unregistered)
foreach(step registered result unregistered)
  if(NOT ${step} STREQUAL "0")
    message(FATAL_ERROR "${step}: ${${step}}")
  endif()
endforeach()
