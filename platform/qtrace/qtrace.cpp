// The trace service: modules, the level, formatting, and the sink that writes lines to standard error.
#include "qtrace/qtrace.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

#include "infra/text.hpp"

int qtrace_current_level = 0;

namespace {

// Nothing here takes named memory: tracing must neither consume injected failures nor change what is counted.
// ---- Modules: few, never unregistered; their ids are their places, from 1 ----
constinit std::mutex modules_mutex;
constinit std::vector<std::string> modules;

// ---- Texts ----
// Room for a text that is rarely long. Without memory for more it stays as it is, and the text is cut.
class room {
public:
  ~room() {
    if (text_ != small_) free(text_);
  }
  void widen(size_t size) {
    auto *memory = size > size_ ? static_cast<char *>(malloc(size)) : nullptr;
    if (memory == nullptr) return;
    text_ = memory;
    size_ = size;
  }
  char *text() { return text_; }
  size_t size() const { return size_; }

private:
  char small_[1024] = "";
  char *text_ = small_;
  size_t size_ = sizeof small_;
};

// ---- The default sink ----
void write_all(const char *bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(STDERR_FILENO, bytes, size);
    if (written < 0 && errno != EINTR) {
      return; // there is nobody to whom it could be reported
    }
    if (written > 0) {
      bytes += written;
      size -= static_cast<size_t>(written);
    }
  }
}

// One write a line, so that the lines of several threads do not mix.
void write_to_standard_error(void *, int level, const char *message) {
  constexpr size_t longest_shown = 4; // of a byte
  room line;
  line.widen(64 + longest_shown * strlen(message));
  char *at = line.text() + snprintf(line.text(), line.size(), "zu_tovra[%d] ", level);
  const char *const end = line.text() + line.size() - longest_shown;
  for (; *message != '\0' && at < end; ++message) {
    if (infra::is_control(*message)) {
      at = infra::put_escaped(at, *message);
    } else {
      *at++ = *message;
    }
  }
  *at++ = '\n';
  write_all(line.text(), static_cast<size_t>(at - line.text()));
}

constinit qtrace_sink_fn current_sink = write_to_standard_error;
constinit void *current_context = nullptr;

} // namespace

int qtrace_module_init_fn(const char *name, uint16_t *id, uintptr_t *control) {
  if (name == nullptr || id == nullptr || control == nullptr) return 1;
  std::lock_guard lock(modules_mutex);
  auto found = std::find(modules.begin(), modules.end(), name);
  if (found == modules.end() && modules.size() == UINT16_MAX) return 1;
  try {
    if (found == modules.end()) found = modules.insert(found, name);
  } catch (const std::bad_alloc &) {
    return 1;
  }
  *id = static_cast<uint16_t>(found - modules.begin() + 1);
  return 0;
}

void qtrace_set_level(int level) {
  __atomic_store_n(&qtrace_current_level, level, __ATOMIC_RELAXED);
}

void qtrace_set_sink(qtrace_sink_fn sink, void *context) {
  current_sink = sink != nullptr ? sink : write_to_standard_error;
  current_context = sink != nullptr ? context : nullptr;
}

void qtrace_emit(uint16_t, int level, int, const char *format, ...) {
  const int caller_errno = errno;
  room message;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(message.text(), message.size(), format, arguments);
  va_end(arguments);
  if (length >= static_cast<int>(message.size())) {
    message.widen(static_cast<size_t>(length) + 1);
    errno = caller_errno; // "%m" names the caller's error both times
    vsnprintf(message.text(), message.size(), format, again);
  }
  va_end(again);
  current_sink(current_context, level, message.text());
  errno = caller_errno;
}
