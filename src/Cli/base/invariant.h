// The report of a broken invariant, which is a programming error and ends the process.
#pragma once

// Prints the C library's assertion report and aborts, in every build. Such reports are found again
// by their text, so expression, line and function are fixed by the caller and the file is always
// "/src/Cli/Tavorin"; none follows the code when it moves.
[[noreturn]] void invariant_broken(const char *expression, unsigned line, const char *function);

// The source file that every report names.
extern const char report_file[];
