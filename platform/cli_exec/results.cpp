// Recording errors: the bundled result interface and results arrays.
#include "cli_exec/results.hpp"

#include "qmalloc/qmalloc.h"

namespace zu_results {

namespace {

// Takes over the error.
void keep(zu_results_array *array, zu_do_error *error) {
  ++array->count;
  zu_do_error_deref(array->last);
  array->last = error;
}

int set_error(zu_result_ifc *ifc, int32_t code, const char *message) {
  auto *self = reinterpret_cast<recorder *>(ifc);
  if (message == nullptr) message = "";
  for (auto *array = self->watchers; array != nullptr; array = array->next) {
    keep(array, zu_do_error_new(code, message));
  }
  if (self->on_error != nullptr) self->on_error(self->error_context, code, message);
  return ZU_OK;
}

int set_error_object(zu_result_ifc *ifc, zu_do_error *error) {
  if (error == nullptr) return ZU_FAILED;
  return set_error(ifc, zu_do_error_get_code(error), zu_do_error_get_msg(error));
}

constexpr zu_result_ifc_ops recorder_ops = {nullptr, nullptr, set_error, nullptr, set_error_object};

void watch(zu_results_array *array, recorder *watched) {
  array->next = watched->watchers;
  array->link = &watched->watchers;
  if (array->next != nullptr) array->next->link = &array->next;
  watched->watchers = array;
}

void unwatch(zu_results_array *array) {
  if (array->link == nullptr) return;
  *array->link = array->next;
  if (array->next != nullptr) array->next->link = array->link;
  array->link = nullptr;
}

} // namespace

void init(recorder &made, zu_cli_on_error_fn on_error, void *error_context) noexcept {
  made = {{&recorder_ops}, on_error, error_context, nullptr};
}

void close(recorder &closed) noexcept {
  while (zu_results_array *array = closed.watchers) {
    unwatch(array);
    array->results = nullptr;
  }
}

void report(zu_results_array *array, int32_t code, const char *message) noexcept {
  if (array == nullptr) return;
  if (array->link == nullptr) keep(array, zu_do_error_new(code, message));
  if (array->results != nullptr) array->results->ops->set_error(array->results, code, message);
}

} // namespace zu_results

zu_results_array *zu_results_array_new(zu_result_ifc *results) {
  if (results == nullptr) return nullptr;
  auto *array = static_cast<zu_results_array *>(qcalloc_named(ZU_DO_AREA, 1, sizeof(zu_results_array)));
  if (array == nullptr) return nullptr;
  array->results = results;
  if (results->ops == &zu_results::recorder_ops) {
    zu_results::watch(array, reinterpret_cast<zu_results::recorder *>(results));
  }
  return array;
}

void zu_results_array_free(zu_results_array *array) {
  if (array == nullptr) return;
  zu_results::unwatch(array);
  zu_do_error_deref(array->last);
  qfree_named(array);
}

uint32_t zu_results_array_get_len(zu_results_array *array) {
  return array != nullptr ? array->count : 0;
}

zu_do_error *zu_results_array_get_last(zu_results_array *array) {
  return array != nullptr ? array->last : nullptr;
}
