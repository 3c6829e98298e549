// Starting this program again. What it writes is gathered in files of memory, so that nothing waits for a
// reader.
#include "process.hpp"

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

// 0, or the system's error number.
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

void wait_for(pid_t process, int seconds, process_outcome &outcome) {
  if (seconds > 0) {
    const file handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd waited{handle.number(), POLLIN, 0};
    int ready = -1;
    do {
      ready = poll(&waited, 1, seconds * 1000);
    } while (ready < 0 && errno == EINTR);
    outcome.timed_out = ready == 0;
    if (outcome.timed_out) kill(process, SIGKILL);
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

process_outcome run_self(const process_request &asked) {
  process_outcome outcome;
  const file output = memory_file(), error = memory_file();
  pid_t process = 0;
  const int failure =
      output.number() < 0 || error.number() < 0 ? errno : start(asked, output, error, process);
  if (failure != 0) {
    outcome.error = std::string("a process cannot be started: ") + std::strerror(failure) + "\n";
    return outcome;
  }
  outcome.started = true;
  wait_for(process, asked.seconds, outcome);
  outcome.output = content(output);
  outcome.error = content(error);
  return outcome;
}

} // namespace tovra
