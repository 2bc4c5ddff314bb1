# Runs vlvalidate strict against vlprovider-dir over a fresh folder (mktemp: an unpredictable
# name, mode 0700) below WORK, so that the run meets the file system the build is on.
#   cmake -DVLVALIDATE=… -DPROVIDER=… -DWORK=… [-DARGS=…] -P validate.cmake
execute_process(COMMAND mktemp -d -p ${WORK} vlprovider-dir-XXXXXXXX OUTPUT_VARIABLE folder
                OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE made)
if(NOT made EQUAL 0)
  message(FATAL_ERROR "cannot make a folder below ${WORK}")
endif()
separate_arguments(extra UNIX_COMMAND "${ARGS}")
execute_process(COMMAND ${VLVALIDATE} run --strict --no-progress ${extra} --provider "exec:${PROVIDER} ${folder}"
                RESULT_VARIABLE status)
file(REMOVE_RECURSE ${folder})
if(NOT status EQUAL 0)
  message(FATAL_ERROR "vlvalidate exited with ${status}")
endif()
