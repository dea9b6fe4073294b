// Reports a broken invariant.
#include "Cli/base/invariant.h"

#include "editline/readline.h"

const char report_file[] = "/src/Cli/Tavorin";

// The C library's function behind assert(). Its header does not declare it in a release build.
extern "C" [[noreturn]] void __assert_fail(const char *expression, const char *file, unsigned line,
                                           const char *function) noexcept;

// assert() would name this file, its own line and the full signature, and do nothing in a release
// build.
void invariant_broken(const char *expression, unsigned line, const char *function) {
  lineedit::give_terminal_back();
  __assert_fail(expression, report_file, line, function);
}
