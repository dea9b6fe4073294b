// Tells which of the faults of libedit that the layer works around the installed library has.
// Nothing of the layer is linked in.
//
//   stock_symptoms [--as-known]
//
//   --as-known  fail where the package's version is the one that the workarounds name and a symptom
//               does not show as it is known: then it is not tried in the right way
//
// Exit status 0: every symptom was tried; 1: one was not, or --as-known failed.
#include <dlfcn.h>
#include <histedit.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <initializer_list>

#include "guarded_blocks.h"
#include "pty.h"
#include "small_screen.h"

static constexpr char known_version[] = "3.1-20221030";

enum Verdict { gone, there, there_otherwise, not_tried };

// A process that tried its symptom ends with this and the verdict.
static constexpr int first_status = 100;

static const char *const verdict_names[] = {"gone", "there", "there, but otherwise", "not tried"};

// The editor of the symptom that is tried.
static struct {
  Pty terminal;
  EditLine *editor;
  History *history;
  char prompt[32] = "> ";
  // What is typed, and how much of it has been.
  std::wstring keys;
  size_t typed;
  // What is done where there is a PAUSE among the keys, how often it was, and what it saw.
  void (*at_pause)();
  size_t pauses;
  size_t seen[4];
  // How often the editor has asked its history.
  size_t history_calls;
} session;

#define PAUSE L"\ue000"
#define UP L"\020"
#define DOWN L"\016"
#define CTRL_A L"\001"
#define CTRL_E L"\005"
#define CTRL_R L"\022"
#define META L"\033"

// --- An editor and its keys ----------------------------------------------------------------------

static int read_key(EditLine *, wchar_t *key) {
  pty_collect(&session.terminal);
  while (session.typed < session.keys.size()) {
    *key = session.keys[session.typed++];
    if (*key != PAUSE[0]) return 1;
    session.at_pause();
    ++session.pauses;
  }
  return 0;
}

static char *current_prompt(EditLine *) { return session.prompt; }

static int ask_history(void *store, HistEvent *event, int operation, ...) {
  va_list arguments;
  va_start(arguments, operation);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  ++session.history_calls;
  return history(static_cast<History *>(store), event, operation, argument);
}

static void configure_editor() {
  HistEvent event;
  session.history = history_init();
  history(session.history, &event, H_SETSIZE, 100);
  el_set(session.editor, EL_PROMPT_ESC, current_prompt, '\001');
  el_set(session.editor, EL_EDITOR, "emacs");
  el_set(session.editor, EL_HIST, ask_history, session.history);
  el_set(session.editor, EL_GETCFN, read_key);
}

// Each of the following makes the editor if there is none.
static void open_editor() {
  if (session.editor != nullptr) return;
  session.editor =
      el_init("stock", session.terminal.in, session.terminal.out, session.terminal.out);
  configure_editor();
}

static void record(const std::string &line) {
  HistEvent event;
  open_editor();
  history(session.history, &event, H_ENTER, line.c_str());
}

static void type(const std::wstring &keys, void (*at_pause)()) {
  open_editor();
  session.keys = keys;
  session.typed = 0;
  session.at_pause = at_pause;
}

// The line that these keys make, without its newline.
static std::wstring read_line(const std::wstring &keys, void (*at_pause)() = nullptr) {
  type(keys, at_pause);
  int count = 0;
  const wchar_t *line = el_wgets(session.editor, &count);
  if (line == nullptr || count <= 0) return L"(none)";
  const std::wstring text(line, wcsnlen(line, static_cast<size_t>(count)));
  return text.substr(0, text.find_last_not_of(L'\n') + 1);
}

// The same with these lines in the history, the newest one last.
static std::wstring recall(std::initializer_list<std::string> lines, const std::wstring &keys) {
  for (const std::string &line : lines) record(line);
  return read_line(keys);
}

static std::wstring repeated(const std::wstring &keys, int count) {
  std::wstring all;
  for (int i = 0; i < count; ++i) all += keys;
  return all;
}

// --- Verdicts ------------------------------------------------------------------------------------

static Verdict judge(bool is_right, bool is_as_known) {
  if (is_right) return gone;
  return is_as_known ? there : there_otherwise;
}

static Verdict judge(const std::wstring &line, const wchar_t *right, const wchar_t *known) {
  return judge(line == right, line == known);
}

// The symptom is that the process does not get so far.
static Verdict survived(const std::wstring &) { return gone; }

// --- The terminal --------------------------------------------------------------------------------

// Settings that a user may have, and that the editor does not take for normal.
static struct termios set_unusual_settings() {
  struct termios settings = pty_settings(&session.terminal);
  settings.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHOE | ECHOCTL);
  tcsetattr(session.terminal.slave, TCSANOW, &settings);
  return settings;
}

static bool has_settings(const struct termios &settings) {
  return difference(settings, pty_settings(&session.terminal)).empty();
}

static Verdict settings_at_init() {
  const struct termios before = set_unusual_settings();
  open_editor();
  return has_settings(before) ? gone : there;
}

static Verdict settings_after_line() {
  set_unusual_settings();
  open_editor();
  const struct termios before = set_unusual_settings();
  read_line(L"line\n");
  return has_settings(before) ? gone : there;
}

// Notes whether the terminal is raw when the first bytes are written to it.
static ssize_t write_noting_mode(void *, const char *bytes, size_t size) {
  if (session.seen[0]++ == 0) session.seen[1] = pty_is_raw(&session.terminal) ? 1 : 0;
  return write(session.terminal.slave, bytes, size);
}

static Verdict prompt_before_raw() {
  FILE *out = fopencookie(nullptr, "w", {nullptr, write_noting_mode, nullptr, nullptr});
  const int slave = session.terminal.slave;
  session.editor = el_init_fd("stock", session.terminal.in, out, out, slave, slave, slave);
  configure_editor();
  session.seen[0] = 0;
  read_line(L"line\n");
  return judge(session.seen[0] > 0 && session.seen[1] == 1, session.seen[0] > 0);
}

// --- Lines and text ------------------------------------------------------------------------------

static Verdict narrow_line() {
  type(std::wstring(L"abc\026") + static_cast<wchar_t>(-23) + L"\n", nullptr);
  int count = 0;
  const char *line = el_gets(session.editor, &count);
  if (line == nullptr) return there_otherwise;
  return judge(strlen(line) == strlen("abc?\n"), strcmp(line, "abc\n") == 0);
}

static Verdict count_beyond_line() {
  record("recorded");
  type(repeated(L"x", 1200) + UP DOWN L"\n", nullptr);
  int count = 0;
  const wchar_t *line = el_wgets(session.editor, &count);
  if (line == nullptr || count != 1201) return there_otherwise;
  const size_t length = wcsnlen(line, 1201);
  return judge(length == 1201, length == 1024);
}

static void insert_undecodable() { el_insertstr(session.editor, "caf\351"); }

static Verdict refused_text() {
  const std::wstring line = read_line(PAUSE L"\n", insert_undecodable);
  return judge(line.size() == 4 && line.substr(0, 3) == L"caf", line.empty());
}

static void replace_with_nothing() { el_wreplacestr(session.editor, L""); }

static void delete_one() { el_deletestr(session.editor, 1); }

// --- Keys and commands ---------------------------------------------------------------------------

static Verdict vi_colon() {
  open_editor();
  el_set(session.editor, EL_EDITOR, "vi");
  return survived(read_line(META L":\"\n\n"));
}

// The line that these keys make with vi's keys; its command mode is the first key's.
static std::wstring read_line_in_vi(const std::wstring &keys) {
  open_editor();
  el_set(session.editor, EL_EDITOR, "vi");
  return read_line(keys);
}

// An editor that changes nothing: the line is then taken as it is.
static Verdict vi_editor() {
  setenv("EDITOR", "true", 1);
  return judge(read_line_in_vi(L"one" META L"va two\n"), L"one two", L"one");
}

static Verdict doubled_line() {
  const size_t length = read_line_in_vi(L"ab" META + repeated(L"0DPP", 15) + L"\n").size();
  return judge(length <= 10000, length == 1 << 16);
}

static void bind(const char *option, const char *key, const char *what = nullptr) {
  open_editor();
  el_set(session.editor, EL_BIND, option, key, what, nullptr);
}

static Verdict no_sequence_left() {
  bind("\\e", "ed-unassigned");
  bind("-r", "^X^X");
  return survived(read_line(L"\030\n\n"));
}

static Verdict endless_text() {
  bind("-s", "x", "x");
  signal(SIGALRM, [](int) { _exit(first_status + there); });
  const struct itimerval soon = {{0, 0}, {0, 200000}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  return survived(read_line(L"x\n"));
}

static Verdict numbered_character() {
  bind("-s", "^N", "a\\U+0071c");
  return judge(read_line(DOWN L"\n"), L"aqc", L"aq");
}

static Verdict pattern_of_search() {
  record("first");
  return judge(read_line_in_vi(META L"/f.*t\n"
                                    L"\n"),
               L"", L"first");
}

static Verdict end_of_empty_line() {
  open_editor();
  el_set(session.editor, EL_EDITOR, "vi");
  read_line(META L"$" PAUSE L"\n", [] {
    const LineInfoW *line = el_wline(session.editor);
    session.seen[0] = line->cursor < line->buffer ? 1 : 0;
  });
  return judge(session.seen[0] == 0, session.seen[0] == 1);
}

static Verdict long_word() {
  open_editor();
  el_set(session.editor, EL_BIND, "-s", "^X", std::string(1500, 'x').c_str(), nullptr);
  return gone;
}

static Verdict count_of_a_million() {
  const size_t length = read_line(META L"999999x\n").size();
  return judge(length < 10000, length == 999999);
}

static unsigned char do_nothing(EditLine *, wint_t) { return CC_NORM; }

// What an editor leaves behind that had a command of that name.
static size_t left_behind(const char *narrow, const wchar_t *wide) {
  const size_t before = mallinfo2().uordblks;
  open_editor();
  if (narrow != nullptr) el_set(session.editor, EL_ADDFN, narrow, narrow, do_nothing);
  if (wide != nullptr) el_wset(session.editor, EL_ADDFN, wide, wide, do_nothing);
  el_end(session.editor);
  history_end(session.history);
  session.editor = nullptr;
  return mallinfo2().uordblks - before;
}

// The first editor of a process leaves more behind.
static Verdict narrow_names() {
  left_behind(nullptr, nullptr);
  const size_t wide = left_behind(nullptr, std::wstring(1000, L'n').c_str());
  return left_behind(std::string(1000, 'n').c_str(), nullptr) > wide ? there : gone;
}

// --- History -------------------------------------------------------------------------------------

static void note_history_calls() {
  session.seen[session.pauses] = session.history_calls;
  session.history_calls = 0;
}

static Verdict calls_for_one_up() {
  for (int i = 0; i < 50; ++i) record("recorded");
  read_line(UP UP PAUSE UP PAUSE + repeated(UP, 40) + PAUSE UP PAUSE L"\n", note_history_calls);
  return judge(session.seen[3] == session.seen[1], session.seen[3] > 40);
}

static void note_stack() {
  session.seen[session.pauses] = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
}

static Verdict stack_of_search() {
  record("aaaaaaaaaaaaaaaaaaaaaaaa");
  read_line(CTRL_R L"a" PAUSE + repeated(L"a", 20) + PAUSE L"\n\n", note_stack);
  return judge(session.seen[1] == session.seen[0], session.seen[1] < session.seen[0]);
}

// --- Prompts and rows ----------------------------------------------------------------------------

static Verdict undecodable_prompt() {
  strcpy(session.prompt, "caf\351> ");
  return survived(read_line(L"line\n"));
}

static std::string shown_for_prompt(const char *prompt) {
  strcpy(session.prompt, prompt);
  read_line(L"line\n");
  pty_collect(&session.terminal);
  return session.terminal.shown;
}

static Verdict last_sequence() {
  const std::string shown = shown_for_prompt("> \001\033[7m\001");
  return judge(shown.find("\033[7m") != std::string::npos, shown.find("> line") == 0);
}

static Verdict two_rows() {
  const std::string shown = shown_for_prompt("one\ntwo> ");
  return judge(shown.find("one\r\ntwo> ") == 0, shown.find("onetwo> ") == 0);
}

static Verdict high_line() {
  pty_set_size(&session.terminal, 6, 20);
  const std::wstring half = repeated(L"x", 150);
  return survived(read_line(half + CTRL_A CTRL_E + half + L"\n"));
}

static Verdict erased_row() {
  pty_set_size(&session.terminal, 6, 10);
  read_line(L"bbababbbbaabbba" CTRL_A L"x");
  const std::vector<std::string> rows = rows_on_screen(session.terminal.shown, 10);
  if (rows.size() < 2 || rows[0] != "> xbbababb") return there_otherwise;
  return judge(rows[1] == "bbaabbba", rows[1] == "bba");
}

static Verdict overwritten_accent() {
  read_line(L"e\u0301x" CTRL_A L"y\n");
  pty_collect(&session.terminal);
  const std::string *shown = &session.terminal.shown;
  const size_t redrawn = shown->rfind("y");
  return judge(shown->find("e\u0301x", redrawn) != std::string::npos,
               shown->find("ex", redrawn) != std::string::npos);
}

// --- Signals -------------------------------------------------------------------------------------

static void take_signal(int) {}

static void interrupt_this_process() { kill(getpid(), SIGINT); }

// A process of the same group. It ends with the signal that it gets first: the interrupt, or the
// one that is sent to it afterwards.
[[noreturn]] static void wait_in_group(const sigset_t *set) {
  int signo = 0;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigwait(set, &signo);
  _exit(signo);
}

static Verdict signal_to_group() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  const pid_t other = fork();
  if (other == 0) wait_in_group(&set);
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  signal(SIGINT, take_signal);
  open_editor();
  el_set(session.editor, EL_SIGNAL, 1);
  read_line(PAUSE L"\n", interrupt_this_process);
  kill(other, SIGTERM);
  int status = 0;
  waitpid(other, &status, 0);
  return judge(WEXITSTATUS(status) == SIGTERM, WEXITSTATUS(status) == SIGINT);
}

// The kernel sends SIGWINCH with it.
static void make_narrower() {
  pty_set_size(&session.terminal, 24, 60 - static_cast<int>(session.pauses) * 10);
}

static Verdict second_change_of_size() {
  open_editor();
  el_set(session.editor, EL_SIGNAL, 1);
  read_line(PAUSE L"a" PAUSE L"b\n", make_narrower);
  int columns = 0;
  el_get(session.editor, EL_GETTC, "co", &columns, nullptr);
  return judge(columns == 50, columns == 60);
}

// --- The table -----------------------------------------------------------------------------------

static const struct Symptom {
  const char *name;
  // The file of the layer that works around it.
  const char *where;
  Verdict (*try_it)();
  // It ends the process, with blocks of memory guarded on that side.
  bool is_crash = false;
  Guard guard = Guard::none;
} symptoms[] = {
    {"own terminal settings when an editor is made", "terminal", settings_at_init},
    {"own terminal settings after a line", "terminal", settings_after_line},
    {"prompt shown before the terminal is raw", "line_reading", prompt_before_raw},
    {"narrow line lacks what cannot be encoded", "readline", narrow_line},
    {"count longer than the line", "readline", count_beyond_line},
    {"text that cannot be decoded is refused", "text", refused_text},
    {"no call empties a line", "line",
     [] { return judge(read_line(L"abc" PAUSE L"\n", replace_with_nothing), L"", L"abc"); }},
    {"what a call deletes is yanked", "line",
     [] { return judge(read_line(L"abc\025x" PAUSE L"\031\n", delete_one), L"abc", L"x"); }},
    {"Meta-d reads beyond the line", "line",
     [] { return survived(read_line(repeated(L"x", 900) + CTRL_A META L"d\n")); }, true,
     Guard::behind},
    {"vi's end of an empty line is before it", "line", end_of_empty_line},
    {"Meta-x, quote, Enter: crash", "bindings", [] { return survived(read_line(META L"x\"\n\n")); },
     true},
    {"vi's Escape, colon, quote, Enter: crash", "bindings", vi_colon, true},
    {"vi's v runs another program", "bindings", vi_editor},
    {"key without any sequence left: crash", "bindings", no_sequence_left, true},
    {"character by its number takes the next one", "bindings", numbered_character},
    {"text that contains its own key never ends", "bound_texts", endless_text},
    {"vi's P doubles a line without a limit", "line", doubled_line},
    {"Meta-Ctrl-underscore writes beyond the line", "bindings",
     [] { return survived(read_line(repeated(L"ab " META L"\037", 600) + L"\n")); }, true,
     Guard::behind},
    {"narrow names of commands leak", "bindings", narrow_names},
    {"Ctrl-T at the start of a line moves the cursor", "editing",
     [] { return judge(read_line(L"abcd" CTRL_A L"\024|\n"), L"|abcd", L"a|bcd"); }},
    {"rest of a sequence that is not bound is text", "keys",
     [] { return judge(read_line(L"ab" META L"[15~c\n"), L"abc", L"ab5~c"); }},
    {"vi's second Escape takes the next key", "keys",
     [] { return judge(read_line_in_vi(L"abc" META META L"0ix\n"), L"xabc", L"abxc"); }},
    {"repeat count of a million", "repeat_count", count_of_a_million},
    {"long word of the settings: crash", "settings_file", long_word, true},
    {"Up stops at a line that cannot be decoded", "readable_history",
     [] {
       return judge(recall({"older", "caf\351", "newer"}, UP UP UP L"\n"), L"older", L"newer");
     }},
    {"recalled line loses its blank and newline", "history_walk",
     [] { return judge(recall({"end \n"}, UP L"|\n"), L"end \n|", L"end|"); }},
    {"Down wipes a line that was never left", "history_walk",
     [] { return judge(recall({"recorded"}, L"draft" DOWN L"\n"), L"draft", L""); }},
    {"each Up begins at the newest line", "history_walk", calls_for_one_up},
    {"Ctrl-R, Ctrl-W reads before the line", "history_search",
     [] { return survived(read_line(CTRL_R L"\027\n\n")); }, true, Guard::before},
    {"long pattern is written beyond the line", "history_search",
     [] { return survived(recall({"a b" + std::string(600, 'x')}, CTRL_R L"b\027\n\n")); }, true,
     Guard::behind},
    {"search calls itself for each key", "history_search", stack_of_search},
    {"vi's search is for a regular expression", "history_search", pattern_of_search},
    {"prompt that cannot be decoded: crash", "drawing", undecodable_prompt, true},
    {"sequence at the end of a prompt is lost", "drawing", last_sequence},
    {"prompt of two rows is shown in one", "drawing", two_rows},
    {"row is erased unknowingly", "drawing", erased_row},
    {"accent is overwritten by the next character", "drawing", overwritten_accent},
    {"line higher than the screen: crash", "size", high_line, true},
    {"signal is sent to the whole process group", "signals", signal_to_group},
    {"only the first change of size is noticed", "signals", second_change_of_size},
};

// --- A process for each --------------------------------------------------------------------------

static constexpr int patience_s = 20;

// Nothing of the user's own settings may reach the editor, and nothing that the caller ignores.
static void set_environment() {
  setenv("TERM", "xterm", 1);
  setenv("HOME", "/nonexistent", 1);
  for (const char *name : {"EDITRC", "LINES", "COLUMNS"}) unsetenv(name);
  setlocale(LC_ALL, "C.UTF-8");
  for (int signo = 1; signo < NSIG; ++signo) signal(signo, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const struct rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
}

[[noreturn]] static void lead_session(const Symptom *symptom) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setsid();
  set_environment();
  alarm(patience_s);
  if (!pty_open(&session.terminal, 24, 80) || ioctl(session.terminal.slave, TIOCSCTTY, 0) != 0)
    _exit(1);
  // What was never written is not zero by chance.
  mallopt(M_PERTURB, 0x5a);
  if (symptom->guard != Guard::none) guard_blocks(symptom->guard);
  _exit(first_status + symptom->try_it());
}

// A crash is one that the processor or the C library has noticed.
static Verdict verdict_of(const Symptom *symptom, int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) >= first_status)
    return static_cast<Verdict>(WEXITSTATUS(status) - first_status);
  const bool crashed =
      WIFSIGNALED(status) && (WTERMSIG(status) == SIGSEGV || WTERMSIG(status) == SIGABRT);
  return symptom->is_crash && crashed ? there : not_tried;
}

static Verdict try_symptom(const Symptom *symptom) {
  fflush(nullptr);
  int status = 0;
  const pid_t child = fork();
  if (child == 0) lead_session(symptom);
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  const Verdict verdict = ended ? verdict_of(symptom, status) : not_tried;
  printf("%-46s %-16s %s", symptom->name, symptom->where, verdict_names[verdict]);
  if (verdict == not_tried && WIFSIGNALED(status)) printf(": signal %d", WTERMSIG(status));
  if (verdict == not_tried && WIFEXITED(status)) printf(": no process, terminal or memory for it");
  printf("\n");
  return verdict;
}

static std::string loaded_library() {
  Dl_info library = {};
  dladdr(reinterpret_cast<void *>(el_init), &library);
  return library.dli_fname;
}

// Empty for a library that is not a package's.
static std::string package_version(const std::string &library) {
  char version[64] = "";
  if (library.rfind("/lib/", 0) != 0 && library.rfind("/usr/lib/", 0) != 0) return version;
  FILE *answer = popen("dpkg-query -W -f '${Version}' libedit2 2>/dev/null", "r");
  if (answer == nullptr) return version;
  if (fgets(version, sizeof version, answer) == nullptr) version[0] = '\0';
  pclose(answer);
  return version;
}

int main(int argc, char **argv) {
  const std::string library = loaded_library();
  const std::string version = package_version(library);
  const bool as_known =
      argc > 1 && strcmp(argv[1], "--as-known") == 0 && version.rfind(known_version, 0) == 0;
  printf("%s %s\n\n", library.c_str(), version.c_str());
  int status = 0;
  for (const Symptom &symptom : symptoms) {
    const Verdict verdict = try_symptom(&symptom);
    if (verdict == not_tried || (as_known && verdict != there)) status = 1;
  }
  return status;
}
