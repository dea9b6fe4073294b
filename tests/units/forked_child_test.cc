// A process that another thread forks at the worst moment: a descriptor of the layer has just been
// closed, and its number belongs to that thread now. The call is wrapped here by the linker.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "layer_harness.h"

static struct {
  bool at_each_close;
  int children;
  int without_descriptor;
} forks;

extern "C" {
int __real_close(int descriptor);
int __wrap_close(int descriptor);
}

// The layer knows only one thread, so this one can do it.
static void fork_with_descriptor(int number) {
  forks.at_each_close = false;
  dup3(terminal.slave, number, 0);
  const pid_t child = fork();
  if (child == 0) _exit(fcntl(number, F_GETFD) < 0 ? 1 : 0);
  int status = 0;
  waitpid(child, &status, 0);
  ++forks.children;
  if (status != 0) ++forks.without_descriptor;
  __real_close(number);
  forks.at_each_close = true;
}

int __wrap_close(int descriptor) {
  const int result = __real_close(descriptor);
  if (forks.at_each_close) fork_with_descriptor(descriptor);
  return result;
}

LAYER_TEST(ForkedChild, KeepsADescriptorWithANumberThatTheLayerHasClosed) {
  read_line({"first\r"});
  forks.at_each_close = true;
  read_line({"second\r"});
  EXPECT_GT(forks.children, 0);
  EXPECT_EQ(forks.without_descriptor, 0);
}
