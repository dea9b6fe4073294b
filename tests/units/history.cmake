# The history rooms and the key bindings. The rooms are compiled here one by one, since those that
# call the editor run over a stand-in for it.
set(units ${CMAKE_CURRENT_LIST_DIR})
set(rooms ${CMAKE_SOURCE_DIR}/src/Cli)
set(store ${rooms}/history/history_modes.cc ${rooms}/history/history_store.cc ${rooms}/base/invariant.cc)

tavorin_unit_test(history_tests
  SOURCES
    ${units}/history_store_editor_test.cc
    ${units}/history_model.cc
    ${units}/history_modes_test.cc
    ${units}/history_store_random_test.cc
    ${units}/history_store_test.cc
    ${units}/history_store_visibility_test.cc
    ${store}
  LIBRARIES lineedit)

tavorin_unit_test(keymaps_tests
  SOURCES
    ${units}/key_bindings_test.cc
    ${units}/keymaps_editor.cc
    ${units}/history_limit_test.cc
    ${rooms}/keys/history_limit.cc
    ${rooms}/keys/keymaps.cc
    ${rooms}/keys/key_bindings.cc
    ${store})

foreach(name history_tests keymaps_tests)
  target_include_directories(${name} SYSTEM PRIVATE ${EDIT_INCLUDE})
endforeach()
