// Iterators and error objects.
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_error {
  std::atomic<uint32_t> count;
  int32_t code;
  const char *message; // behind the record, or a literal
};

namespace {

// Stands for every error that finds no memory. It is not counted.
constinit zu_do_error no_memory = {1, ZU_EXHAUSTED, "Memory exhausted"};

} // namespace

zu_do_iter *zu_do_iter_new(void) {
  auto *it = allocate<zu_do_iter>();
  if (it != nullptr) *it = {nullptr, 0};
  return it;
}

void zu_do_iter_deref(zu_do_iter *it) {
  release(it);
}

zu_do_error *zu_do_error_new(int32_t code, const char *message) {
  const std::string_view text = message == nullptr ? "" : message;
  auto *error = allocate<zu_do_error>(text.size() + 1);
  if (error == nullptr) return &no_memory;
  error->count = 1;
  error->code = code;
  error->message = reinterpret_cast<char *>(error + 1);
  put_text(reinterpret_cast<char *>(error + 1), text);
  return error;
}

zu_do_error *zu_do_error_ref(zu_do_error *error) {
  if (error != nullptr && error != &no_memory) count_up(error->count);
  return error;
}

void zu_do_error_deref(zu_do_error *error) {
  if (error != nullptr && error != &no_memory && count_down(error->count)) release(error);
}

int32_t zu_do_error_get_code(zu_do_error *error) {
  return error == nullptr ? 0 : error->code;
}

const char *zu_do_error_get_msg(zu_do_error *error) {
  return error == nullptr ? nullptr : error->message;
}
