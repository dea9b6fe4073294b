#include "editline/screen/writer.h"

#include <curses.h>
#include <fcntl.h>
#include <histedit.h>
#include <stdio_ext.h>
#include <term.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/base/kept_descriptor.h"
#include "editline/base/streams.h"
#include "editline/base/variables.h"

namespace lineedit {

static const char *const control_names[] = {"up", "nd", "ch", "ce", "cd", "cl", "IC", "DC"};

static bool do_not_wait(int) { return true; }
static const StoppedTerminal simply_waiting = {::write, do_not_wait};

static struct {
  // The terminal's strings, by Control; owned by the editor. Empty or null if it has none.
  const char *controls[std::size(control_names)];
  bool wraps;
  bool wraps_late;
  // What is to be written.
  char *bytes;
  size_t size;
  size_t room;
  // The terminal, opened once more by ourselves: writes to it fail where others would wait, and the
  // descriptor that the application shares stays as it is. -1 if it is not open.
  int terminal;
  // It cannot be opened, as after su.
  bool cannot_open;
  const StoppedTerminal *stopped;
} writer = {{}, false, false, nullptr, 0, 0, -1, false, &simply_waiting};

// --- Capabilities --------------------------------------------------------------------------------

static bool has_flag(const char *name) {
  const char *answer = nullptr;
  return el_get(editor.el, EL_GETTC, name, &answer) == 0 && answer != nullptr && *answer == 'y';
}

void query_controls() {
  for (size_t i = 0; i < std::size(control_names); ++i) {
    char *found = nullptr;
    el_get(editor.el, EL_GETTC, control_names[i], &found);
    writer.controls[i] = found;
  }
  writer.wraps = has_flag("am");
  writer.wraps_late = writer.wraps && has_flag("xn");
}

static const char *string_of(Control control) {
  return writer.controls[static_cast<size_t>(control)];
}

bool has_control(Control control) {
  const char *string = string_of(control);
  return string != nullptr && *string != '\0';
}

bool wraps() { return writer.wraps; }
bool wraps_late() { return writer.wraps_late; }

// --- Writing -------------------------------------------------------------------------------------

// Does not use realloc, which may leave a copy of the text behind.
static char *make_room(size_t size) {
  if (writer.size + size > writer.room) {
    const size_t room = (writer.size + size) * 2 + 64;
    char *grown = static_cast<char *>(malloc(room));
    if (writer.size > 0) memcpy(grown, writer.bytes, writer.size);
    if (writer.room > 0) explicit_bzero(writer.bytes, writer.room);
    free(writer.bytes);
    writer.bytes = grown;
    writer.room = room;
  }
  return writer.bytes + writer.size;
}

void write_bytes(const char *bytes, size_t size) {
  memcpy(make_room(size), bytes, size);
  writer.size += size;
}

void write_repeated(char byte, int count) {
  if (count <= 0) return;
  memset(make_room(static_cast<size_t>(count)), byte, static_cast<size_t>(count));
  writer.size += static_cast<size_t>(count);
}

static int write_byte(int byte) {
  *make_room(1) = static_cast<char>(byte);
  ++writer.size;
  return byte;
}

void write_character(wchar_t character) {
  if (character < 0x80) {
    write_byte(static_cast<int>(character));
    return;
  }
  mbstate_t shift = {};
  const size_t used = wcrtomb(make_room(MB_LEN_MAX), character, &shift);
  if (used != static_cast<size_t>(-1)) writer.size += used;
}

// tputs leaves out what terminfo says about padding, or pads.
void write_control(Control control, int argument) {
  const char *string = string_of(control);
  if (control == Control::column || control == Control::insert || control == Control::remove)
    string = tgoto(string, argument, argument);
  tputs(string, 1, write_byte);
}

static void open_terminal() {
  char name[32];
  snprintf(name, sizeof name, "/proc/self/fd/%d", output_descriptor());
  const int opened = open(name, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  writer.terminal = move_descriptor(opened, STDERR_FILENO + 1);
  writer.cannot_open = writer.terminal < 0;
}

// The number may be another thread's as soon as it is closed, and that thread may fork.
void close_terminal() {
  const int opened = writer.terminal;
  writer.terminal = -1;
  if (opened >= 0) close(opened);
  writer.cannot_open = false;
}

void wait_for_stopped_terminal(const StoppedTerminal *waiting) { writer.stopped = waiting; }

static ssize_t write_at_once() { return write(writer.terminal, writer.bytes, writer.size); }

// Nothing reaches a terminal that fails.
static void take_written(ssize_t written) {
  const size_t taken = written > 0 ? static_cast<size_t>(written) : writer.size;
  writer.size -= taken;
  memmove(writer.bytes, writer.bytes + taken, writer.size);
}

// Also where the terminal is not open yet. Returns false if a signal is to be acted on first.
static bool write_slowly() {
  if (writer.terminal < 0 && !writer.cannot_open) open_terminal();
  ssize_t written = writer.terminal >= 0 ? write_at_once() : -1;
  if (writer.terminal < 0 || (written < 0 && errno == EAGAIN))
    written = writer.stopped->write(output_descriptor(), writer.bytes, writer.size);
  if (written < 0 && errno == EINTR) return false;
  take_written(written);
  return true;
}

// Not inlined, so that the common write saves no registers.
[[gnu::noinline]] static void write_rest(ssize_t written) {
  if (written > 0) take_written(written);
  while (writer.size > 0 && write_slowly()) continue;
}

void flush_stream() {
  if (rl_outstream == nullptr || __fpending(rl_outstream) == 0) return;
  if (writer.stopped->wait(output_descriptor())) fflush(rl_outstream);
}

// Not through the stream, which would cost more than all the drawing of a typed character.
void flush_writer() {
  if (writer.size == 0) return;
  flush_stream();
  const ssize_t written = writer.terminal >= 0 ? write_at_once() : -1;
  if (written == static_cast<ssize_t>(writer.size))
    writer.size = 0;
  else
    write_rest(written);
}

void drop_unwritten() { writer.size = 0; }

void wipe_writer() {
  if (writer.room > 0) explicit_bzero(writer.bytes, writer.room);
  free(writer.bytes);
  writer.bytes = nullptr;
  writer.size = writer.room = 0;
}

}  // namespace lineedit
