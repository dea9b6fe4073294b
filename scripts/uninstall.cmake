# Takes away what `cmake --install` made since this was run last, wherever that was, and nothing else:
# the files, and the folders if nothing of anybody else's is in them.
include(${CMAKE_CURRENT_LIST_DIR}/install_record.cmake)
if(NOT EXISTS ${record})
  message(STATUS "Nothing to uninstall")
  return()
endif()

file(STRINGS ${record} made ENCODING UTF-8)
list(REVERSE made)
foreach(path IN LISTS made)
  if(IS_DIRECTORY "${path}")
    execute_process(COMMAND rmdir -- "${path}" ERROR_QUIET)    # which only takes empty ones
  elseif(EXISTS "${path}")
    message(STATUS "Uninstalling: ${path}")
    file(REMOVE "${path}")
    if(EXISTS "${path}")
      message(FATAL_ERROR "It cannot be removed")
    endif()
  endif()
endforeach()
file(REMOVE ${record})
