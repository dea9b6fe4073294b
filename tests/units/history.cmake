# The history rooms and the key bindings. The rooms are compiled here one by one, since those that
# call the editor run over a stand-in for it.
set(units ${CMAKE_CURRENT_LIST_DIR})
set(rooms ${CMAKE_SOURCE_DIR}/src/Cli)
set(store ${rooms}/history_modes.cc ${rooms}/history_store.cc ${rooms}/invariant.cc)

tavorin_unit_test(history_tests
  SOURCES
    ${units}/history_editor.cc
    ${units}/history_model.cc
    ${units}/history_modes.cc
    ${units}/history_random.cc
    ${units}/history_store.cc
    ${units}/history_visibility.cc
    ${store}
  LIBRARIES ${EDIT_LIBRARY})

tavorin_unit_test(keymaps_tests
  SOURCES
    ${units}/keymaps_bindings.cc
    ${units}/keymaps_editor.cc
    ${units}/keymaps_limit.cc
    ${rooms}/history_limit.cc
    ${rooms}/key_bindings.cc
    ${store})

foreach(name history_tests keymaps_tests)
  target_include_directories(${name} SYSTEM PRIVATE ${EDIT_INCLUDE})
endforeach()
