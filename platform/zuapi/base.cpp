// Iterators and error objects.
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_error {
  std::atomic<uint32_t> count;
  int32_t code;

  char *message() { return reinterpret_cast<char *>(this + 1); }
};

zu_do_iter *zu_do_iter_new(void) {
  auto *it = allocate<zu_do_iter>();
  if (it != nullptr) iter_start(nullptr, it);
  return it;
}

void zu_do_iter_deref(zu_do_iter *it) {
  release(it);
}

zu_do_error *zu_do_error_new(int32_t code, const char *message) {
  const std::string_view text = message == nullptr ? "" : message;
  auto *error = allocate<zu_do_error>(text.size() + 1);
  if (error == nullptr) return nullptr;
  error->count = 1;
  error->code = code;
  put_text(error->message(), text);
  return error;
}

zu_do_error *zu_do_error_ref(zu_do_error *error) {
  if (error != nullptr) count_up(error->count);
  return error;
}

void zu_do_error_deref(zu_do_error *error) {
  if (error != nullptr && count_down(error->count)) release(error);
}

int32_t zu_do_error_get_code(zu_do_error *error) {
  return error == nullptr ? 0 : error->code;
}

const char *zu_do_error_get_msg(zu_do_error *error) {
  return error == nullptr ? nullptr : error->message();
}
