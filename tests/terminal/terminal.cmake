# The module at a real pseudo-terminal: one CTest test for each pytest file, driven by the system's
# Python 3 with the module in a child under TAVORIN_PYTHON.

set(terminal_environment
  "TAVORIN_PYTHON=${TAVORIN_PYTHON}"
  "TAVORIN_MODULE_DIR=$<TARGET_FILE_DIR:Tavorin>"
  "TAVORIN_OPENED_MODULE_DIR=$<TARGET_FILE_DIR:opened_module>"
  "TAVORIN_BUILD_DIR=${CMAKE_BINARY_DIR}"
  "TAVORIN_MONITOR_DIR=$<TARGET_FILE_DIR:scripted_monitor>")

# An ordinary interpreter runs a sanitized module only with the checkers' libraries loaded first.
if(TAVORIN_SANITIZE)
  set(preload "")
  foreach(library libasan.so libstdc++.so.6)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    file(REAL_PATH ${path} path)
    string(APPEND preload "${path} ")
  endforeach()
  string(STRIP ${preload} preload)
  list(APPEND terminal_environment "TAVORIN_PRELOAD=${preload}")
endif()

if(TAVORIN_COVERAGE)
  list(APPEND terminal_environment "TAVORIN_COVERAGE=1")
endif()

# How long each way of sending signals goes on, and everything at once; less where everything takes
# many times as long. Every run of the tests has to fit in ten minutes.
if(TAVORIN_SANITIZE OR TAVORIN_COVERAGE)
  list(APPEND terminal_environment "TAVORIN_SIGNAL_SECONDS=8" "TAVORIN_COMPLETIONS=10000"
    "TAVORIN_STORM_SECONDS=0.5" "TAVORIN_SOAK_LINES=4000")
else()
  list(APPEND terminal_environment "TAVORIN_SIGNAL_SECONDS=15" "TAVORIN_SOAK_SECONDS=15"
    "TAVORIN_COMPLETIONS=30000")
endif()

file(GLOB terminal_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/test_*.py)
if(TAVORIN_SANITIZE)
  # What the checkers could find there they find in the random tests.
  list(FILTER terminal_tests EXCLUDE REGEX "test_(documents|install|resizing|text_editing)\\.py$")
endif()
foreach(file ${terminal_tests})
  get_filename_component(name ${file} NAME_WE)
  add_test(NAME terminal.${name}
           COMMAND ${TAVORIN_PYTHON3} -m pytest -q ${file}
           WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR})
  set_tests_properties(terminal.${name} PROPERTIES
    LABELS terminal TIMEOUT 300 ENVIRONMENT "${terminal_environment}")
endforeach()
