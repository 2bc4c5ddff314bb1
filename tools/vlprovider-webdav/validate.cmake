# Starts a real WebDAV server with scripts/webdav-server, validates vlprovider-webdav against
# it with vlvalidate, and stops the server again whatever the run's outcome. The run has a
# time-out of its own, shorter than the test's, so the server is stopped even when it hangs.
#   cmake -DVLVALIDATE=… -DPROVIDER=… -DSERVER_SCRIPT=… -DSERVER=apache [-DARGS=…] -P validate.cmake
execute_process(COMMAND ${SERVER_SCRIPT} start ${SERVER} OUTPUT_VARIABLE started RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "scripts/webdav-server could not start ${SERVER}")
endif()
string(REGEX MATCH "URL=([^\n]*)" ignored "${started}")
set(url "${CMAKE_MATCH_1}")
string(REGEX MATCH "STATE=([^\n]*)" ignored "${started}")
set(state "${CMAKE_MATCH_1}")
separate_arguments(extra UNIX_COMMAND "${ARGS}")
execute_process(COMMAND ${VLVALIDATE} run --strict --no-progress ${extra} --provider "exec:${PROVIDER} ${url}"
                RESULT_VARIABLE status TIMEOUT 240)
execute_process(COMMAND ${SERVER_SCRIPT} stop ${state})
if(NOT status EQUAL 0)
  message(FATAL_ERROR "vlvalidate against ${SERVER} ended with ${status}")
endif()
