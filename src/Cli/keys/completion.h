// Completion: from the editor's completion command to the Python callable and back.
#pragma once

// Python's own; named here so that code without Python can include this.
typedef struct _object PyObject;

// The completion callable of the latest readline call, or Python's None. Borrowed.
extern PyObject *completionCallback;

// Raises the exception that the callable of the latest completion raised. Returns whether there was
// one.
bool raise_parked_exception();

// Completion as a command function of the editor: passes `key` and the line to the callable of the
// current readline call, and edits the line as its answer says. Returns 0. Exported.
extern "C" __attribute__((visibility("default"))) int complete_line(int count, int key);

// The same as the editor's completion hook, with the key that started the completion. Returns null
// and suppresses the editor's own completion.
char **complete_line_wrapper(const char *text, int start, int end);
