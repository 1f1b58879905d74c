include(GoogleTest)

# quilt_add_test(NAME <program> LABEL unit|property|stress SOURCES <files> LIBRARIES <targets> [TIMEOUT <s>])
#
# One test program; each of its cases is a test of CTest under the label, run in a process of its own.
function(quilt_add_test)
  cmake_parse_arguments(arg "" "NAME;LABEL;TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} quilt_options GTest::gtest_main GTest::gmock)
  target_include_directories(${arg_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  gtest_discover_tests(${arg_NAME} DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT})
endfunction()
