// The locale in which lines are edited.
#include "editline/base/locale.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace lineedit {

static struct {
  // The editor's own; null if nothing is switched.
  locale_t editors;
  // What the thread had when it was switched.
  locale_t threads;
  bool meta_keys;
} locales;

static bool application_has_set_one() {
  const char *name = setlocale(LC_CTYPE, nullptr);
  return uselocale(nullptr) != LC_GLOBAL_LOCALE ||
         (strcmp(name, "C") != 0 && strcmp(name, "POSIX") != 0);
}

static locale_t locale_of_environment() {
  const locale_t named = newlocale(LC_CTYPE_MASK, "", nullptr);
  return named != nullptr ? named : newlocale(LC_CTYPE_MASK, "C", nullptr);
}

static bool decodes_bytes_above_127() {
  bool decodes = MB_CUR_MAX > 1;
  for (int byte = 0x80; !decodes && byte <= 0xff; ++byte) decodes = btowc(byte) != WEOF;
  return decodes;
}

void choose_editor_locale() {
  leave_editor_locale();
  if (locales.editors != nullptr) freelocale(locales.editors);
  locales.editors = application_has_set_one() ? nullptr : locale_of_environment();
  const bool entered = enter_editor_locale();
  locales.meta_keys = !decodes_bytes_above_127();
  if (entered) leave_editor_locale();
}

bool enter_editor_locale() {
  if (locales.editors == nullptr || uselocale(nullptr) == locales.editors) return false;
  locales.threads = uselocale(locales.editors);
  return true;
}

bool leave_editor_locale() {
  if (locales.editors == nullptr || uselocale(nullptr) != locales.editors) return false;
  uselocale(locales.threads);
  return true;
}

bool bytes_are_meta_keys() { return locales.meta_keys; }

}  // namespace lineedit
