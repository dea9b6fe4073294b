// The files whose C streams the editor uses. They are "lent" while the editor runs without the
// interpreter's lock: a thread that then closes one gets Python's IOError, as during any operation
// on a file. Code that runs within a read, such as a completer, may close them; the read then ends.
//
// All calls are for a thread that holds the interpreter's lock.
#pragma once

// Takes a reference to each of sys.stdin and sys.stdout, and gives their C streams to the editor.
// Null stands for an object that is not a file; the editor then uses the process's own stream.
void take_streams();
// Releases the editor's streams. Drops a reference to whatever sys.stdin and sys.stdout are now, so
// the shell must reset before it replaces them.
void release_streams();

// Bracket each stretch that the editor runs without the lock. The first releases the streams from
// the editor if one of the files has been closed.
void lend_streams();
void return_streams();
// Whether the editor is running on another thread.
bool streams_are_lent();

// Marks a line as being read.
void set_line_in_progress(bool in_progress);
bool line_is_in_progress();
