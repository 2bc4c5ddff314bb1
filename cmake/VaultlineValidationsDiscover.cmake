# The half of vaultline_add_validations() that runs when ctest does: lists the provider's
# cases with `vlvalidate list --json` and writes one add_test() per case into CTEST_FILE.
# Included by the script that vaultline_add_validations() generates; not for direct use.

# Returns in `out` the arguments `args` with every "<TEST_DIR>" replaced by `dir`.
function(_vaultline_with_test_dir out dir)
  set(replaced "")
  foreach(argument IN LISTS ARGN)
    string(REPLACE "<TEST_DIR>" "${dir}" argument "${argument}")
    list(APPEND replaced "${argument}")
  endforeach()
  set(${out} "${replaced}" PARENT_SCOPE)
endfunction()

# Returns in `out` `text` as a bracket argument that no character of the text can end.
function(_vaultline_bracket out text)
  set(equals "=")
  while(text MATCHES "\\]${equals}\\]")
    string(APPEND equals "=")
  endwhile()
  set(${out} "[${equals}[${text}]${equals}]" PARENT_SCOPE)
endfunction()

function(vaultline_discover_validations)
  # Not PARSE_ARGV: RUN_ARGS and PROPERTIES arrive as one bracket argument each, a list to split.
  cmake_parse_arguments(arg "" "NAME;VLVALIDATE;PROVIDER;FILTER;TEST_DIR;DISCOVERY_TIMEOUT;CTEST_FILE"
                        "RUN_ARGS;PROPERTIES" ${ARGN})
  set(uses_test_dir FALSE)
  if(arg_PROVIDER MATCHES "<TEST_DIR>")
    set(uses_test_dir TRUE)
    file(MAKE_DIRECTORY "${arg_TEST_DIR}/list")
  endif()
  _vaultline_with_test_dir(provider "${arg_TEST_DIR}/list" "${arg_PROVIDER}")
  execute_process(COMMAND "${arg_VLVALIDATE}" list --json --provider "${provider}" --filter "${arg_FILTER}"
                  TIMEOUT ${arg_DISCOVERY_TIMEOUT}
                  OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "vaultline_add_validations(${arg_NAME}): listing the cases failed (${status}):\n"
                        "  ${arg_VLVALIDATE} list --json --provider ${provider} --filter ${arg_FILTER}\n${errors}")
  endif()
  string(JSON count ERROR_VARIABLE problem LENGTH "${listing}" cases)
  if(problem)
    message(FATAL_ERROR "vaultline_add_validations(${arg_NAME}): vlvalidate list gave no list of cases: ${problem}")
  endif()

  set(script "")
  set(names "")
  if(count GREATER 0)
    math(EXPR last "${count} - 1")
    foreach(index RANGE ${last})
      string(JSON id GET "${listing}" cases ${index} id)
      string(JSON suite GET "${listing}" cases ${index} suite)
      string(JSON category GET "${listing}" cases ${index} category)
      # The filter of a test must select its case alone: an ID with a pattern character
      # would select others too.
      if(id MATCHES "[*?:-]")
        message(FATAL_ERROR "vaultline_add_validations(${arg_NAME}): case ID '${id}' holds a filter "
                            "character (* ? : -) and cannot be selected alone")
      endif()
      set(name "${arg_NAME}:${id}")
      set(arguments "${arg_RUN_ARGS}")
      if(uses_test_dir)
        string(REPLACE "/" "_" folder "${id}")
        file(MAKE_DIRECTORY "${arg_TEST_DIR}/${folder}")
        _vaultline_with_test_dir(arguments "${arg_TEST_DIR}/${folder}" ${arguments})
      endif()
      set(command "")
      foreach(word IN ITEMS "${arg_VLVALIDATE}" run --filter "${id}" ${arguments})
        _vaultline_bracket(word "${word}")
        string(APPEND command " ${word}")
      endforeach()
      _vaultline_bracket(quoted "${name}")
      string(APPEND script "add_test(${quoted}${command})\n"
                           "set_tests_properties(${quoted} PROPERTIES SKIP_RETURN_CODE 5 "
                           "LABELS [==[${suite};category-${category}]==])\n")
      if(arg_PROPERTIES)
        set(properties "")
        foreach(word IN LISTS arg_PROPERTIES)
          _vaultline_bracket(word "${word}")
          string(APPEND properties " ${word}")
        endforeach()
        string(APPEND script "set_tests_properties(${quoted} PROPERTIES${properties})\n")
      endif()
      list(APPEND names "${name}")
    endforeach()
  endif()
  _vaultline_bracket(list "${names}")
  string(APPEND script "set(${arg_NAME}_TESTS ${list})\n")
  file(WRITE "${arg_CTEST_FILE}" "${script}")
endfunction()
