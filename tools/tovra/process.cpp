// Starts this program again. Its output goes to files in memory instead of pipes: a pipe would stop the
// process whenever nobody reads.
#include "process.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tovra {

namespace {

class file {
public:
  explicit file(int number) : number_(number) {}
  ~file() {
    if (number_ >= 0) close(number_);
  }
  file(const file &) = delete;
  file &operator=(const file &) = delete;
  int number() const { return number_; }

private:
  int number_;
};

file memory_file() {
  return file(memfd_create("output", MFD_CLOEXEC));
}

std::string content(const file &of) {
  std::string text;
  char piece[64 * 1024];
  off_t at = 0;
  for (ssize_t length = 1; length > 0; at += length) {
    length = pread(of.number(), piece, sizeof piece, at);
    if (length > 0) text.append(piece, static_cast<size_t>(length));
  }
  return text;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
  std::vector<char *> made;
  made.reserve(texts.size() + 1);
  for (std::string &text : texts) made.push_back(text.data());
  made.push_back(nullptr);
  return made;
}

std::vector<std::string> environment_with(const process_request &asked) {
  std::vector<std::string> all;
  for (char **at = environ; *at != nullptr; ++at) {
    const std::string_view entry = *at;
    const std::string_view name = entry.substr(0, entry.find('='));
    bool given = false;
    for (const auto &[set, value] : asked.environment) given = given || set == name;
    if (!given) all.emplace_back(entry);
  }
  for (const auto &[set, value] : asked.environment) all.push_back(set + "=" + value);
  return all;
}

// Returns 0, or the system's error number.
int start(const process_request &asked, const file &output, const file &error, pid_t &process) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  if (!asked.own_input) posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.number(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error.number(), STDERR_FILENO);
  if (!asked.folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, asked.folder.c_str());
  sigset_t as_started;
  sigemptyset(&as_started);
  sigaddset(&as_started, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &as_started);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

  std::vector<std::string> words{"tovra"};
  words.insert(words.end(), asked.arguments.begin(), asked.arguments.end());
  std::vector<std::string> environment = environment_with(asked);
  const int failure = posix_spawn(&process, "/proc/self/exe", &actions, &attributes, pointers(words).data(),
                                  pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

} // namespace

struct running_process::parts {
  file output = memory_file();
  file error = memory_file();
  pid_t process = 0; // 0: none runs
  std::unique_ptr<file> handle;
  std::chrono::steady_clock::time_point until;
  bool is_bounded = false;
  process_outcome outcome;
};

running_process::running_process(const process_request &asked) : parts_(std::make_unique<parts>()) {
  const bool has_files = parts_->output.number() >= 0 && parts_->error.number() >= 0;
  const int failure = has_files ? start(asked, parts_->output, parts_->error, parts_->process) : errno;
  parts_->outcome.started = failure == 0;
  if (failure != 0) {
    parts_->process = 0;
    parts_->outcome.error = std::string("a process cannot be started: ") + std::strerror(failure) + "\n";
    return;
  }
  parts_->handle = std::make_unique<file>(static_cast<int>(syscall(SYS_pidfd_open, parts_->process, 0)));
  parts_->is_bounded = asked.seconds > 0;
  parts_->until = std::chrono::steady_clock::now() + std::chrono::seconds(asked.seconds);
}

running_process::~running_process() {
  if (parts_->process == 0) return;
  kill(parts_->process, SIGKILL);
  while (waitpid(parts_->process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

int running_process::handle() const {
  return parts_->handle ? parts_->handle->number() : -1;
}

int running_process::milliseconds_left() const {
  if (parts_->process == 0) return 0;
  if (!parts_->is_bounded) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(parts_->until - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

namespace {

// True when the process has ended, or ends within that time.
bool ends_within(int handle, int milliseconds) {
  pollfd waited{handle, POLLIN, 0};
  int ready = -1;
  do {
    ready = poll(&waited, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready != 0;
}

} // namespace

bool running_process::has_ended() const {
  return parts_->process == 0 || milliseconds_left() == 0 || ends_within(handle(), 0);
}

process_outcome running_process::end() {
  process_outcome &outcome = parts_->outcome;
  if (parts_->process == 0) return outcome;
  outcome.timed_out = parts_->is_bounded && !ends_within(handle(), milliseconds_left());
  if (outcome.timed_out) kill(parts_->process, SIGKILL);
  int status = 0;
  while (waitpid(parts_->process, &status, 0) < 0 && errno == EINTR) {
  }
  parts_->process = 0;
  outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  outcome.output = content(parts_->output);
  outcome.error = content(parts_->error);
  return std::move(outcome);
}

process_outcome run_self(const process_request &asked) {
  return running_process(asked).end();
}

} // namespace tovra
