# What `cmake --install` makes, files and folders, is recorded in the build folder, in the order of
# its making: the target "uninstall" takes away just that. Making a package records nothing.
#
# BUILD is the build folder. The environment may name another file for the record, as tests do, which
# must not touch the record of what somebody installed.

if(DEFINED ENV{TAVORIN_INSTALL_RECORD})
  set(record $ENV{TAVORIN_INSTALL_RECORD})
else()
  set(record ${BUILD}/installed.txt)
endif()

# Before something is installed into a folder, given below the prefix: which folders that will make.
function(note_folders_to_make below)
  set(folder $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${below})
  cmake_path(ABSOLUTE_PATH folder NORMALIZE)
  set(folders "")
  while(NOT IS_DIRECTORY ${folder})
    string(PREPEND folders "${folder}\n")
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
  set(folders_to_make "${folders}" PARENT_SCOPE)
endfunction()

# After a file was installed, given below the prefix. Only cpack runs this other than as a script.
function(record_installed below)
  if(CMAKE_SCRIPT_MODE_FILE)
    set(file $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${below})
    cmake_path(ABSOLUTE_PATH file NORMALIZE)
    file(APPEND ${record} "${folders_to_make}${file}\n")
  endif()
endfunction()
