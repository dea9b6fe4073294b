// The descriptors of the editor's streams.
#include "editline/base/streams.h"

#include <sys/stat.h>

#include "editline/base/variables.h"

namespace lineedit {

// What is behind a descriptor. A file that cannot be asked is no file.
struct Identity {
  bool known;
  dev_t device;
  ino_t inode;
};

// Behind the streams' descriptors before the callback.
static struct {
  Identity input;
  Identity output;
} noted;

static int descriptor_of(FILE *stream) { return stream != nullptr ? fileno(stream) : -1; }

int input_descriptor() { return descriptor_of(rl_instream); }

int output_descriptor() { return descriptor_of(rl_outstream); }

static Identity identity_of(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return {};
  return {true, status.st_dev, status.st_ino};
}

static bool is_unchanged(const Identity *before, int descriptor) {
  const Identity now = identity_of(descriptor);
  return now.known == before->known && now.device == before->device && now.inode == before->inode;
}

void note_streams() {
  noted.input = identity_of(input_descriptor());
  noted.output = identity_of(output_descriptor());
}

bool keep_unchanged_streams() {
  const bool both = rl_instream != nullptr && rl_outstream != nullptr;
  if (both && is_unchanged(&noted.input, input_descriptor()) &&
      is_unchanged(&noted.output, output_descriptor()))
    return true;
  rl_instream = rl_outstream = nullptr;
  return false;
}

}  // namespace lineedit
