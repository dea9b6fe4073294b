// The editor's input hook: waits for the next key.
#include "character_reader.h"

#include <unistd.h>

#include "../editline/readline_layer.h"
#include "../editline/signals.h"

// What the reader waits on. Kept between keys for its storage only.
static lineedit::WaitSet waiting;

int read_char(FILE *) {
  const int fd = fileno(lineedit::rl_instream);
  lineedit::wait_set_clear(&waiting, fd);
  for (;;) {
    lineedit::wait_set_add(&waiting, fd);
    if (lineedit::rl_wait(fd + 1, &waiting) <= 0) continue;
    if (lineedit::wait_set_has(&waiting, fd)) break;
  }
  char key;
  if (read(fd, &key, 1) != 1) return -1;
  return static_cast<signed char>(key);
}

PyObject *py_loggingSyncEnabledIs(PyObject *, PyObject *args) {
  const char *filename;
  PyObject *callback = Py_None;
  if (PyArg_ParseTuple(args, "s|O:loggingSyncEnabledIs", &filename, &callback) == 0) return nullptr;
  PyErr_SetString(PyExc_NotImplementedError, "synchronous logging is not built yet");
  return nullptr;
}
