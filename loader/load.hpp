// The state of one call of a loading function, with or without diagnostics. One code serves both, so that
// they accept the same templates.
#pragma once

#include "text.hpp"
#include "zu_tovra/diagnostics.h"

namespace tvr::loader {

struct load_context {
  zu_tvr_tree *tree;
  zu_do_error **error;
  zu_tvr_diagnostic_fn tell = nullptr; // null: the load ends at its first fault, which stays in `error`
  void *user = nullptr;
  bool faulty = false;  // a fault was found
  bool stopped = false; // by the callback
};

// Called after a failed step. Completes the diagnostic from the error object and the cause, and reports it
// through the callback. True: the load goes on, without the error object.
bool tell_fault(load_context &load, zu_tvr_diagnostic fault) noexcept;

// Each returns false only when the load has to end.
bool load_list(load_context &load, const char *directories) noexcept;
bool load_file(load_context &load, const char *path) noexcept;
// Parses a text up to its NUL. `file` names it; null for a text in memory.
bool parse_text(load_context &load, const char *file, const char *source) noexcept;

} // namespace tvr::loader
