// The result interface of a bundled context, and the results arrays that watch it.
#pragma once

#include "cli_exec/cli_exec.h"

// Keeps the number of errors and the last one. It is linked to a bundled interface, which then reports to it;
// another interface cannot be watched, so that only the errors reported through the array are kept.
struct zu_results_array {
  zu_result_ifc *results; // null once the interface is gone
  zu_results_array *next;
  zu_results_array **link; // the pointer to this array in the list of arrays; null when it watches nothing
  uint32_t count;
  zu_do_error *last; // owned; null when there was no memory for it
};

#pragma GCC visibility push(hidden)

namespace zu_results {

// A result interface that passes errors on, and to the arrays that watch it.
struct recorder {
  zu_result_ifc ifc;
  zu_cli_on_error_fn on_error; // may be null
  void *error_context;
  zu_results_array *watchers;
};

void init(recorder &made, zu_cli_on_error_fn on_error, void *error_context) noexcept;
// Unlinks the arrays, which may outlive the interface.
void close(recorder &closed) noexcept;
// Reports an error to the array's interface; the array may be null.
void report(zu_results_array *array, int32_t code, const char *message) noexcept;

} // namespace zu_results

#pragma GCC visibility pop
