#include "editline/screen/writer.h"

#include <curses.h>
#include <histedit.h>
#include <stdio_ext.h>
#include <term.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/base/streams.h"
#include "editline/base/variables.h"

namespace lineedit {

static const char *const control_names[] = {"up", "nd", "ch", "ce", "cd", "cl", "IC", "DC"};

static struct {
  // The terminal's strings, by Control; owned by the editor. Empty or null if it has none.
  const char *controls[std::size(control_names)];
  bool wraps;
  bool wraps_late;
  // What is to be written.
  char *bytes;
  size_t size;
  size_t room;
} writer;

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

// Not through the stream, which would cost more than all the drawing of a typed character.
void flush_writer() {
  if (writer.size == 0) return;
  if (rl_outstream != nullptr && __fpending(rl_outstream) > 0) fflush(rl_outstream);
  const char *at = writer.bytes;
  ssize_t written;
  while (writer.size > 0 && (written = write(output_descriptor(), at, writer.size)) > 0) {
    at += written;
    writer.size -= static_cast<size_t>(written);
  }
  writer.size = 0;
}

void wipe_writer() {
  if (writer.room > 0) explicit_bzero(writer.bytes, writer.room);
  free(writer.bytes);
  writer.bytes = nullptr;
  writer.size = writer.room = 0;
}

}  // namespace lineedit
