// The interpreter's lock.
#include "Cli/base/gil.h"

#include "Cli/base/invariant.h"

// Not null exactly while the lock is released for the thread that reads a line.
static PyThreadState *savedPyThreadState;

PyThreadState *releaseGil() {
  if (savedPyThreadState != nullptr)
    invariant_broken("savedPyThreadState == ((void *)0)", 64, "releaseGil");
  savedPyThreadState = PyEval_SaveThread();
  return savedPyThreadState;
}

void acquireGil() {
  if (savedPyThreadState == nullptr)
    invariant_broken("savedPyThreadState != ((void *)0)", 57, "acquireGil");
  PyEval_RestoreThread(savedPyThreadState);
  savedPyThreadState = nullptr;
}

void forget_released_gil() { savedPyThreadState = nullptr; }
