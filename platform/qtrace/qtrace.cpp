// The trace service: modules, the level, formatting, and the sink that writes lines to standard error.
#include "qtrace/qtrace.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>

int qtrace_current_level = 0;

namespace {

// Plain malloc throughout: tracing must neither consume injected failures nor change what is counted.
constexpr size_t stack_size = 1024;

// ---- Modules: few, never unregistered ----
struct trace_module {
  trace_module *next;
  uintptr_t *control;
  uint16_t id;
  char name[1]; // as long as the text needs
};

constinit std::mutex modules_mutex;
constinit trace_module *modules = nullptr; // the newest first, so it has the highest id

trace_module *find_module(const char *name) {
  trace_module *module = modules;
  while (module != nullptr && strcmp(module->name, name) != 0) module = module->next;
  return module;
}

trace_module *add_module(const char *name) {
  const uint16_t last = modules != nullptr ? modules->id : uint16_t{0};
  const size_t length = strlen(name);
  void *memory = last < UINT16_MAX ? malloc(sizeof(trace_module) + length) : nullptr;
  if (memory == nullptr) return nullptr;
  auto *module = static_cast<trace_module *>(memory);
  module->next = modules;
  module->control = nullptr;
  module->id = static_cast<uint16_t>(last + 1);
  memcpy(module->name, name, length + 1);
  modules = module;
  return module;
}

// ---- The default sink ----
bool is_control(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value < 0x20 || value == 0x7f;
}

// Appends the message to `line` from `at` on, control bytes in hex, until `end`; gives the new position.
size_t append_visible(char *line, size_t at, size_t end, const char *message) {
  static const char digits[] = "0123456789ABCDEF";
  for (; *message != '\0'; ++message) {
    const bool control = is_control(*message);
    if (at + (control ? 4 : 1) > end) break;
    if (control) {
      const auto value = static_cast<unsigned char>(*message);
      const char shown[4] = {'\\', 'x', digits[value >> 4], digits[value & 15]};
      memcpy(line + at, shown, sizeof shown);
      at += sizeof shown;
    } else {
      line[at++] = *message;
    }
  }
  return at;
}

void write_all(const char *bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(STDERR_FILENO, bytes, size);
    if (written < 0 && errno != EINTR) {
      return; // nobody is left to be told
    }
    if (written > 0) {
      bytes += written;
      size -= static_cast<size_t>(written);
    }
  }
}

// One write a line, so that the lines of several threads do not mix.
void write_to_standard_error(void *, int level, const char *message) {
  char stack_line[stack_size];
  char *line = stack_line;
  size_t size = sizeof stack_line;
  const size_t prefix = static_cast<size_t>(snprintf(stack_line, sizeof stack_line, "zu_tovra[%d] ", level));
  const size_t largest = prefix + 4 * strlen(message) + 1;
  if (largest > size) {
    if (auto *memory = static_cast<char *>(malloc(largest)); memory != nullptr) {
      memcpy(memory, stack_line, prefix);
      line = memory;
      size = largest;
    }
  }
  size_t at = append_visible(line, prefix, size - 1, message);
  line[at++] = '\n';
  write_all(line, at);
  if (line != stack_line) free(line);
}

constinit qtrace_sink_fn current_sink = write_to_standard_error;
constinit void *current_context = nullptr;

} // namespace

int qtrace_module_init_fn(const char *name, uint16_t *id, uintptr_t *control) {
  if (name == nullptr || id == nullptr || control == nullptr) return 1;
  std::lock_guard lock(modules_mutex);
  trace_module *module = find_module(name);
  if (module == nullptr) module = add_module(name);
  if (module == nullptr) return 1;
  module->control = control;
  *id = module->id;
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
  char stack_message[stack_size];
  stack_message[0] = '\0';
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(stack_message, sizeof stack_message, format, arguments);
  va_end(arguments);

  char *message = stack_message;
  if (length >= static_cast<int>(sizeof stack_message)) {
    const size_t size = static_cast<size_t>(length) + 1;
    if (auto *memory = static_cast<char *>(malloc(size)); memory != nullptr) {
      errno = caller_errno; // "%m" names the caller's error both times
      vsnprintf(memory, size, format, again);
      message = memory;
    }
  }
  va_end(again);
  current_sink(current_context, level, message);
  if (message != stack_message) free(message);
  errno = caller_errno;
}
