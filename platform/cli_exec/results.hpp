// The result interface of a bundled context, and the results arrays that watch it.
#pragma once

#include "cli_exec/cli_exec.h"

// Keeps the number of errors and the last one. Linked to the interface it watches when that is a bundled
// one; another interface cannot be watched, so then only what goes through the array is kept.
struct zu_results_array {
  zu_result_ifc *results; // none once the interface is gone
  zu_results_array *next;
  zu_results_array **link; // what points at this array; none when it watches nothing
  uint32_t count;
  zu_do_error *last; // owned; none when there was no memory for it
};

#pragma GCC visibility push(hidden)

namespace zu_results {

// A result interface that hands errors on and shows them to the arrays that watch it.
struct recorder {
  zu_result_ifc ifc;
  zu_cli_on_error_fn on_error; // may be none
  void *error_context;
  zu_results_array *watchers;
};

void init(recorder &made, zu_cli_on_error_fn on_error, void *error_context) noexcept;
// Lets go of the arrays, which may outlive it.
void close(recorder &closed) noexcept;
// Reports an error to the array's interface; the array may be none.
void report(zu_results_array *array, int32_t code, const char *message) noexcept;

} // namespace zu_results

#pragma GCC visibility pop
