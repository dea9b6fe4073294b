// The stand-in log monitor, with a real file that is appended to, truncated, moved away and created
// again.
#include "vesker.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

// While not 0, fstat fails with it, in the stand-in too.
static int fstat_error;

extern "C" __attribute__((visibility("default"))) int fstat(int fd, struct stat *status) noexcept {
  if (fstat_error == 0) return fstatat(fd, "", status, AT_EMPTY_PATH);
  errno = fstat_error;
  return -1;
}

namespace {

using Events = std::vector<std::pair<int, int>>;

class StandIn : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/tavorin-log-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder = name;
    log = folder + "/log";
    write_file(log, "old\nhalf", O_CREAT | O_EXCL);
  }

  void TearDown() override {
    if (handle != nullptr) vesker_close(handle);
    for (const char *name : {"/log", "/log.1", "/other", "/fifo"}) unlink((folder + name).c_str());
    rmdir(folder.c_str());
  }

  static void write_file(const std::string &path, const std::string &text, int flags) {
    const int fd = open(path.c_str(), O_WRONLY | flags, 0600);
    ASSERT_NE(fd, -1) << path;
    ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(fd);
  }

  void append(const std::string &text) { write_file(log, text, O_APPEND); }

  void watch() {
    handle = vesker_open(log.c_str(), take_event, this);
    ASSERT_NE(handle, nullptr);
  }

  bool has_news() {
    struct pollfd entry = {vesker_inotify_fd(handle), POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
  }

  // What is reported for what happened since the last call.
  Events events() {
    seen.clear();
    const int count = has_news() ? vesker_process_event(handle) : 0;
    EXPECT_EQ(count, static_cast<int>(seen.size()));
    return seen;
  }

  static void take_event(int lines, void *userdata, int bytes) {
    StandIn *test = static_cast<StandIn *>(userdata);
    test->seen.emplace_back(lines, bytes);
    if (!test->closes_itself) return;
    vesker_close(test->handle);
    test->handle = nullptr;
  }

  std::string folder;
  std::string log;
  vesker *handle = nullptr;
  Events seen;
  bool closes_itself = false;
};

TEST_F(StandIn, ReportsNothingOfWhatWasThereBefore) {
  watch();
  EXPECT_FALSE(has_news());
  EXPECT_EQ(vesker_process_event(handle), 0);
  EXPECT_EQ(seen, Events());
}

TEST_F(StandIn, ReportsAppendedLinesWithTheirNumberAndBytes) {
  watch();
  append("one\n");
  EXPECT_EQ(events(), (Events{{1, 4}}));
  append("two\nthree\n");
  EXPECT_EQ(events(), (Events{{2, 10}}));
}

TEST_F(StandIn, ReportsWhatCameTogetherAsOneEvent) {
  watch();
  append("one\n");
  append("two\n");
  append("three\n");
  EXPECT_EQ(events(), (Events{{3, 14}}));
  EXPECT_FALSE(has_news());
}

TEST_F(StandIn, WaitsForTheEndOfALine) {
  watch();
  append("be");
  EXPECT_EQ(events(), Events());
  append("gun\nnext");
  EXPECT_EQ(events(), (Events{{1, 6}}));
  append("\n");
  EXPECT_EQ(events(), (Events{{1, 5}}));
}

TEST_F(StandIn, CountsLinesLargerThanOneReading) {
  watch();
  const std::string line(200000, 'x');
  append(line + "\n" + line);
  EXPECT_EQ(events(), (Events{{1, 200001}}));
  append("\n");
  EXPECT_EQ(events(), (Events{{1, 200001}}));
}

TEST_F(StandIn, ReadsATruncatedFileFromItsStart) {
  watch();
  append("one\n");
  EXPECT_EQ(events(), (Events{{1, 4}}));
  write_file(log, "", O_TRUNC);
  EXPECT_EQ(events(), Events());
  append("n\n");
  EXPECT_EQ(events(), (Events{{1, 2}}));
}

TEST_F(StandIn, GoesOnWithTheFileThatReplacesAMovedOne) {
  watch();
  append("last of the old\n");
  ASSERT_EQ(rename(log.c_str(), (folder + "/log.1").c_str()), 0);
  write_file(log, "first of the new\nand\n", O_CREAT | O_EXCL);
  EXPECT_EQ(events(), (Events{{1, 16}, {2, 21}}));
  append("more\n");
  EXPECT_EQ(events(), (Events{{1, 5}}));
}

TEST_F(StandIn, ReadsAMovedFileUntilThereIsANewOne) {
  watch();
  ASSERT_EQ(rename(log.c_str(), (folder + "/log.1").c_str()), 0);
  write_file(folder + "/log.1", "late\n", O_APPEND);
  EXPECT_EQ(events(), (Events{{1, 5}}));
  write_file(log, "new\n", O_CREAT | O_EXCL);
  EXPECT_EQ(events(), (Events{{1, 4}}));
  write_file(folder + "/log.1", "to the old one\n", O_APPEND);
  EXPECT_EQ(events(), Events());
}

TEST_F(StandIn, GoesOnAfterTheFileWasDeletedAndMadeAnew) {
  watch();
  ASSERT_EQ(unlink(log.c_str()), 0);
  events();
  write_file(log, "new\n", O_CREAT | O_EXCL);
  EXPECT_EQ(events(), (Events{{1, 4}}));
}

TEST_F(StandIn, FollowsAFileThatIsMovedIntoPlace) {
  watch();
  write_file(folder + "/other", "prepared\n", O_CREAT | O_EXCL);
  ASSERT_EQ(rename((folder + "/other").c_str(), log.c_str()), 0);
  EXPECT_EQ(events(), (Events{{1, 9}}));
}

TEST_F(StandIn, DoesNotMindOtherFilesOfTheFolder) {
  watch();
  write_file(folder + "/other", "one\n", O_CREAT | O_EXCL);
  EXPECT_EQ(events(), Events());
}

TEST_F(StandIn, MayBeClosedFromInsideItsCallback) {
  watch();
  closes_itself = true;
  append("one\n");
  ASSERT_EQ(rename(log.c_str(), (folder + "/log.1").c_str()), 0);
  write_file(log, "two\n", O_CREAT | O_EXCL);
  EXPECT_EQ(vesker_process_event(handle), 1);
  EXPECT_EQ(seen, (Events{{1, 4}}));
  EXPECT_EQ(handle, nullptr);
}

TEST_F(StandIn, LeavesNoDescriptorOpen) {
  const int next = dup(0);
  close(next);
  watch();
  vesker_close(handle);
  handle = nullptr;
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, next);
}

TEST_F(StandIn, WatchesAFileOfTheWorkingFolder) {
  ASSERT_EQ(chdir(folder.c_str()), 0);
  handle = vesker_open("log", take_event, this);
  ASSERT_NE(handle, nullptr);
  append("\n");
  EXPECT_EQ(events(), (Events{{1, 1}}));
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(StandIn, KeepsToItsFileWhenTheWorkingFolderChanges) {
  const std::string elsewhere = folder + "/elsewhere";
  ASSERT_EQ(mkdir(elsewhere.c_str(), 0700), 0);
  write_file(elsewhere + "/log", "of another\n", O_CREAT | O_EXCL);
  ASSERT_EQ(chdir(folder.c_str()), 0);
  handle = vesker_open("log", take_event, this);
  ASSERT_EQ(chdir(elsewhere.c_str()), 0);
  append("\n");
  EXPECT_EQ(events(), (Events{{1, 1}}));
  ASSERT_EQ(rename(log.c_str(), (folder + "/log.1").c_str()), 0);
  write_file(log, "new\n", O_CREAT | O_EXCL);
  EXPECT_EQ(events(), (Events{{1, 4}}));
  ASSERT_EQ(chdir("/"), 0);
  unlink((elsewhere + "/log").c_str());
  rmdir(elsewhere.c_str());
}

TEST_F(StandIn, NeedsAWorkingFolderForARelativeName) {
  const std::string gone = folder + "/gone";
  ASSERT_EQ(mkdir(gone.c_str(), 0700), 0);
  ASSERT_EQ(chdir(gone.c_str()), 0);
  ASSERT_EQ(rmdir(gone.c_str()), 0);
  EXPECT_EQ(vesker_open("../log", take_event, this), nullptr);
  EXPECT_EQ(errno, ENOENT);
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(StandIn, HasNoDescriptorOnceItIsClosed) {
  watch();
  const int watched = vesker_inotify_fd(handle);
  close(watched);
  EXPECT_EQ(vesker_process_event(handle), -1);
  EXPECT_EQ(vesker_inotify_fd(handle), -1);
  ASSERT_EQ(dup2(STDERR_FILENO, watched), watched);
  vesker_close(handle);
  handle = nullptr;
  EXPECT_EQ(close(watched), 0);
}

TEST_F(StandIn, LeavesADescriptorThatBelongsToAnotherFile) {
  watch();
  const int watched = vesker_inotify_fd(handle);
  const int other = open("/dev/null", O_RDONLY);
  ASSERT_EQ(dup2(other, watched), watched);
  close(other);
  EXPECT_EQ(vesker_process_event(handle), -1);
  EXPECT_EQ(vesker_inotify_fd(handle), -1);
  vesker_close(handle);
  handle = nullptr;
  EXPECT_EQ(close(watched), 0);
}

TEST_F(StandIn, TellsWhyItCannotAskAboutAFile) {
  fstat_error = EIO;
  EXPECT_EQ(vesker_open(log.c_str(), take_event, this), nullptr);
  EXPECT_EQ(errno, EIO);
  fstat_error = 0;
}

TEST_F(StandIn, FailsWithTheTrueErrno) {
  errno = 0;
  EXPECT_EQ(vesker_open((folder + "/absent").c_str(), take_event, this), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(vesker_open(folder.c_str(), take_event, this), nullptr);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(vesker_open("", take_event, this), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(vesker_open((log + "/x").c_str(), take_event, this), nullptr);
  EXPECT_EQ(errno, ENOTDIR);
  ASSERT_EQ(mkfifo((folder + "/fifo").c_str(), 0600), 0);
  EXPECT_EQ(vesker_open((folder + "/fifo").c_str(), take_event, this), nullptr);
  EXPECT_EQ(errno, EINVAL);
}

}  // namespace
