find_package(Qt6 REQUIRED COMPONENTS Test)

# stashwell_add_test(<source> [LABEL <label>] [LIBS <libs>...] [TIMEOUT <s>])
# One QtTest executable per source file, named after the file.
function(stashwell_add_test source)
  cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "LIBS" ${ARGN})
  get_filename_component(name ${source} NAME_WE)
  add_executable(${name} ${source})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE stashwell_core Qt6::Test ${ARG_LIBS})
  target_compile_definitions(${name} PRIVATE
    STASHWELL_BIN="$<TARGET_FILE:stashwell>"
    STASHWELL_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  add_test(NAME ${name} COMMAND ${name})
  if(NOT ARG_LABEL)
    set(ARG_LABEL unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set_tests_properties(${name} PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT})
  # The test programs themselves never need a display; end-to-end tests start their own.
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()
