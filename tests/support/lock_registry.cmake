# Read by ctest after the tests of a folder are known: those that write the user's registry,
# which all processes share on Windows, run one at a time.
foreach(test IN LISTS qutils_tests_TESTS http_tests_TESTS)
  if(test MATCHES "Registry|SystemProxy")
    set_tests_properties(${test} PROPERTIES RESOURCE_LOCK registry)
  endif()
endforeach()
