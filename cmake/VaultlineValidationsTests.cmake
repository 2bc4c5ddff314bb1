# vaultline_add_validations(): one CTest test per validation case of a provider.
#
#   vaultline_add_validations(NAME name PROVIDER provider
#                             [STRICT] [TIMEOUT seconds] [FILTER pattern]
#                             [EXTRA_ARGS arg…] [PROPERTIES property value…]
#                             [DISCOVERY_TIMEOUT seconds])
#
# NAME      prefix of the tests: each is "name:Suite.BaseName/Variant".
# PROVIDER  what `vlvalidate --provider` takes: sim, sim:SETTINGS, exec:COMMAND, unix:PATH.
#           Generator expressions work ("exec:$<TARGET_FILE:my-provider>"). Every
#           "<TEST_DIR>" in it becomes a directory of each test's own (made at discovery,
#           kept between runs), so that tests of a provider that keeps files may run at once.
# STRICT    turns on the suites' stricter optional checks (vlvalidate --strict).
# TIMEOUT   the validators' default time-out in seconds (vlvalidate --timeout); the CTest
#           time-out of a test is a property (PROPERTIES TIMEOUT 120).
# FILTER    only the cases this pattern selects, as vlvalidate --filter reads it.
# EXTRA_ARGS        further vlvalidate arguments, given to every test.
# PROPERTIES        set on every test after the function's own (LABELS replaces theirs).
# DISCOVERY_TIMEOUT seconds the listing may take (default 60).
#
# Cases are discovered when ctest runs, from `vlvalidate list --json`, and again whenever
# vlvalidate is newer than the last listing or the project was configured again. Each test
# runs `vlvalidate run --filter <its case>` and is labelled with the suite class and
# "category-N"; an inconclusive case exits 5 (--inconclusive-exit), which is the test's
# SKIP_RETURN_CODE, so it shows as skipped, never as passed or failed. A failing test's
# output lists the expectations that did not pass. The list of test names is in the
# variable name_TESTS for scripts that ctest includes later.
#
# vlvalidate is the target Vaultline::vlvalidate: imported by find_package, or the alias of
# the source tree's own program.
include_guard(GLOBAL)

set(_VAULTLINE_DISCOVER_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/VaultlineValidationsDiscover.cmake)

function(vaultline_add_validations)
  cmake_parse_arguments(PARSE_ARGV 0 arg "STRICT" "NAME;PROVIDER;TIMEOUT;FILTER;DISCOVERY_TIMEOUT"
                        "EXTRA_ARGS;PROPERTIES")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vaultline_add_validations: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  foreach(required NAME PROVIDER)
    if(NOT arg_${required})
      message(FATAL_ERROR "vaultline_add_validations: ${required} is missing")
    endif()
  endforeach()
  if(NOT arg_NAME MATCHES "^[A-Za-z0-9_.+-]+$")
    message(FATAL_ERROR "vaultline_add_validations: NAME '${arg_NAME}' may hold only letters, digits and _ . + -")
  endif()
  if(NOT TARGET Vaultline::vlvalidate)
    message(FATAL_ERROR "vaultline_add_validations: no target Vaultline::vlvalidate; "
                        "find_package(VaultlineValidations) first, or add the source tree")
  endif()
  get_property(names DIRECTORY PROPERTY VAULTLINE_VALIDATIONS_NAMES)
  if(arg_NAME IN_LIST names)
    message(FATAL_ERROR "vaultline_add_validations: NAME '${arg_NAME}' is used twice in this folder")
  endif()
  set_property(DIRECTORY APPEND PROPERTY VAULTLINE_VALIDATIONS_NAMES ${arg_NAME})
  if(NOT arg_FILTER)
    set(arg_FILTER "*")
  endif()
  if(NOT arg_DISCOVERY_TIMEOUT)
    set(arg_DISCOVERY_TIMEOUT 60)
  endif()

  set(run_args --provider "${arg_PROVIDER}" --no-progress --inconclusive-exit)
  if(arg_STRICT)
    list(APPEND run_args --strict)
  endif()
  if(arg_TIMEOUT)
    list(APPEND run_args --timeout ${arg_TIMEOUT})
  endif()
  list(APPEND run_args ${arg_EXTRA_ARGS})

  set(base "${CMAKE_CURRENT_BINARY_DIR}/vaultline-${arg_NAME}")
  set(include_file "${base}_include.cmake")
  set(tests_file "${base}_tests.cmake")
  set(vlvalidate "$<TARGET_FILE:Vaultline::vlvalidate>")
  # Lists travel as bracket arguments, so that no ";" or quote in them is read twice.
  string(CONCAT content
    "if(EXISTS [==[${vlvalidate}]==])\n"
    "  if(NOT EXISTS [==[${tests_file}]==] OR\n"
    "     NOT [==[${tests_file}]==] IS_NEWER_THAN [==[${vlvalidate}]==] OR\n"
    "     NOT [==[${tests_file}]==] IS_NEWER_THAN \"\${CMAKE_CURRENT_LIST_FILE}\")\n"
    "    include([==[${_VAULTLINE_DISCOVER_SCRIPT}]==])\n"
    "    vaultline_discover_validations(\n"
    "      NAME [==[${arg_NAME}]==]\n"
    "      VLVALIDATE [==[${vlvalidate}]==]\n"
    "      PROVIDER [==[${arg_PROVIDER}]==]\n"
    "      FILTER [==[${arg_FILTER}]==]\n"
    "      RUN_ARGS [==[${run_args}]==]\n"
    "      PROPERTIES [==[${arg_PROPERTIES}]==]\n"
    "      TEST_DIR [==[${base}.d]==]\n"
    "      DISCOVERY_TIMEOUT [==[${arg_DISCOVERY_TIMEOUT}]==]\n"
    "      CTEST_FILE [==[${tests_file}]==])\n"
    "  endif()\n"
    "  include([==[${tests_file}]==])\n"
    "else()\n"
    "  add_test([==[${arg_NAME}:NOT_BUILT]==] [==[${vlvalidate}]==])\n"
    "endif()\n")
  file(GENERATE OUTPUT "${include_file}" CONTENT "${content}")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${include_file}")
endfunction()
