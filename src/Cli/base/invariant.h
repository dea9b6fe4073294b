// Reports a broken invariant, which is a programming error, and ends the process.
#pragma once

// Gives the terminal back, prints the C library's assertion report and aborts, in every build.
// Reports are searched for by their text, so the caller passes the expression, line and function,
// and the file is always
// "/src/Cli/Tavorin". Only the line of the completion's report follows the code when it moves.
[[noreturn]] void invariant_broken(const char *expression, unsigned line, const char *function);

// The source file that every report names.
extern const char report_file[];
