// Linked into what is built for coverage: a process writes its counts when it calls exit, and here
// also where it ends otherwise.
//
// - abort, __assert_fail and _exit, and a signal that a thread sends to itself and dies of, as the
//   linker's --wrap has them come here.
// - SIGTRAP, which nothing holds back: the test that started the process sends it where it would
//   kill it otherwise.
#include <pthread.h>
#include <unistd.h>

#include <csignal>

extern "C" {
void __gcov_dump();
[[noreturn]] void __real_abort();
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __real___assert_fail(const char *expression, const char *file, unsigned line,
                                       const char *function);
int __real_pthread_kill(pthread_t thread, int signo);

[[noreturn]] void __wrap_abort() {
  __gcov_dump();
  __real_abort();
}

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}

[[noreturn]] void __wrap___assert_fail(const char *expression, const char *file, unsigned line,
                                       const char *function) {
  __gcov_dump();
  __real___assert_fail(expression, file, line, function);
}

int __wrap_pthread_kill(pthread_t thread, int signo) {
  struct sigaction disposition = {};
  sigaction(signo, nullptr, &disposition);
  const bool ends = signo == SIGTERM || signo == SIGHUP || signo == SIGQUIT || signo == SIGINT;
  if (ends && disposition.sa_handler == SIG_DFL) __gcov_dump();
  return __real_pthread_kill(thread, signo);
}
}

static void write_counts_and_end(int) {
  __gcov_dump();
  kill(getpid(), SIGKILL);
}

__attribute__((constructor)) static void take_request() { signal(SIGTRAP, write_counts_and_end); }
