// The peers in C: one shell of a few lines over a readline interface, made into three programs.
// Over the stock libedit as it comes; over the same with a reader that waits with select and reads
// one byte, which is what the module does for each key; over GNU readline.
//
//   NAME LINES-FILE [LOG-FILE]
//
// It writes each line that it read to LINES-FILE, records it, and obeys two of them: "#record N"
// records N lines, "#list" lists all. Both tell what processor time that took. Tab completes "ver"
// to "version ". Where the reader is our own, news in LOG-FILE appear above the line.
#ifdef PEER_GNU_READLINE
#include <readline/history.h>
#include <readline/readline.h>
#else
#include <editline/readline.h>
#endif

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/select.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>

static long processor_time() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1000000000L + now.tv_nsec;
}

// --- The reader that waits -----------------------------------------------------------------------

#ifdef PEER_WAITS_WITH_SELECT
static int log_fd = -1;
static int log_changes = -1;

static void watch_log(const char *name) {
  log_fd = open(name, O_RDONLY);
  lseek(log_fd, 0, SEEK_END);
  log_changes = inotify_init1(IN_NONBLOCK);
  inotify_add_watch(log_changes, name, IN_MODIFY);
}

static void show_news() {
  char bytes[4096];
  while (read(log_changes, bytes, sizeof bytes) > 0) {
  }
  fputc('\n', stdout);
  ssize_t size;
  while ((size = read(log_fd, bytes, sizeof bytes)) > 0)
    fwrite(bytes, 1, static_cast<size_t>(size), stdout);
  rl_forced_update_display();
}

// Returns one byte, as a signed char, or -1 at the end of input.
static int wait_for_byte(int fd) {
  fd_set ready;
  do {
    FD_ZERO(&ready);
    FD_SET(fd, &ready);
    if (log_changes >= 0) FD_SET(log_changes, &ready);
    const int count = (fd > log_changes ? fd : log_changes) + 1;
    if (select(count, &ready, nullptr, nullptr, nullptr) <= 0) FD_ZERO(&ready);
    if (log_changes >= 0 && FD_ISSET(log_changes, &ready)) show_news();
  } while (!FD_ISSET(fd, &ready));
  char key;
  return read(fd, &key, 1) == 1 ? key : -1;
}

// libedit takes what this returns for a whole character.
static int wait_and_read(FILE *in) {
  int key = wait_for_byte(fileno(in));
  mbstate_t state = {};
  for (wchar_t character; key < -1; key = wait_for_byte(fileno(in))) {
    const char byte = static_cast<char>(key);
    if (mbrtowc(&character, &byte, 1, &state) == 1) return static_cast<int>(character);
  }
  return key;
}
#endif

// --- The shell -----------------------------------------------------------------------------------

static char *complete_word(const char *text, int state) {
  return state == 0 && strcmp(text, "ver") == 0 ? strdup("version") : nullptr;
}

static char **complete(const char *text, int, int) {
  rl_attempted_completion_over = 1;
  return rl_completion_matches(text, complete_word);
}

static char *history_line(int number) {
  char line[64];
  snprintf(line, sizeof line, "%s %06d of the history", number == 0 ? "zq" : "line", number);
  return strdup(line);
}

static void record_lines(int count) {
  const size_t size = static_cast<size_t>(count) * sizeof(char *);
  char **lines = static_cast<char **>(malloc(size));
  for (int i = 0; i < count; ++i) lines[i] = history_line(i);
  const long start = processor_time();
  for (int i = 0; i < count; ++i) add_history(lines[i]);
  printf("took %ld ns for %d lines\n", processor_time() - start, count);
  for (int i = 0; i < count; ++i) free(lines[i]);
  free(lines);
}

static void list_lines() {
  const long start = processor_time();
  HIST_ENTRY **entries = history_list();
  int count = 0;
  while (entries != nullptr && entries[count] != nullptr) ++count;
  printf("took %ld ns for %d lines\n", processor_time() - start, count);
}

static void obey(const char *line) {
  if (strncmp(line, "#record ", 8) == 0) record_lines(atoi(line + 8));
  if (strcmp(line, "#list") == 0) list_lines();
}

static void read_lines(FILE *lines) {
  char prompt[32];
  for (int number = 0;; ++number) {
    snprintf(prompt, sizeof prompt, "%d> ", number);
    char *line = readline(prompt);
    if (line == nullptr) return;
    fprintf(lines, "%s\n", line);
    add_history(line);
    obey(line);
    free(line);
  }
}

int main(int argc, char **argv) {
  setlocale(LC_CTYPE, "");
  FILE *lines = fopen(argv[1], "w");
  if (lines == nullptr) return EXIT_FAILURE;
  setvbuf(lines, nullptr, _IOFBF, 1 << 20);
  rl_attempted_completion_function = complete;
#ifdef PEER_WAITS_WITH_SELECT
  rl_getc_function = wait_and_read;
  if (argc > 2) watch_log(argv[2]);
#else
  (void)argc;
#endif
  using_history();
  read_lines(lines);
  return fclose(lines) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
