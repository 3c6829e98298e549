// Listens to the errors that the library traces, while it lives.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "qtrace/qtrace.h"

namespace tovra::check {

class trace_watch {
public:
  trace_watch() {
    qtrace_set_sink(take, this);
    qtrace_set_level(3);
  }
  trace_watch(const trace_watch &) = delete;
  trace_watch &operator=(const trace_watch &) = delete;
  ~trace_watch() {
    qtrace_set_level(0);
    qtrace_set_sink(nullptr, nullptr);
  }

  std::vector<std::string> errors; // without their prefix

private:
  static void take(void *self, int, const char *message) {
    std::string_view text = message;
    constexpr std::string_view prefix = "(ERR): ";
    if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
    static_cast<trace_watch *>(self)->errors.emplace_back(text);
  }
};

} // namespace tovra::check
