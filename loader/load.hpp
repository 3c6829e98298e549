// The state of one call of a loading function, with or without diagnostics.
#pragma once

#include "text.hpp"
#include "zu_tovra/diagnostics.h"

namespace tvr::loader {

struct load_context {
  zu_tvr_tree *tree;
  zu_do_error **error;
  zu_tvr_diagnostic_fn tell = nullptr; // none: the load ends at its first fault, which is left in `error`
  void *user = nullptr;
  bool faulty = false;
  bool stopped = false; // by the callback
};

// After a failed step. Completes the diagnostic from the error object and the cause, and tells it. True: the
// load goes on, with no error object.
bool tell_fault(load_context &load, zu_tvr_diagnostic fault) noexcept;

// All are false only when the load ends.
bool load_list(load_context &load, const char *directories) noexcept;
bool load_file(load_context &load, const char *path) noexcept;
// Parses a text up to its NUL. `file` names it; none for a text in memory.
bool parse_text(load_context &load, const char *file, const char *source) noexcept;

} // namespace tvr::loader
