// Instance documents against a module of every kind of node: what is refused says why, what is read is a data
// file that loads.
#include "qmalloc/qmalloc.h"
#include "stage.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  if (size > 8192) return 0; // a key may be too long for a URI
  const char *directory = YANG_DIRECTORY;
  const char *module = "every-node";
  const zu_store_yang schema = {&directory, 1, &module, 1, nullptr, 0};
  zu_do_error *error = nullptr;
  char *json = zu_store_json_of_yang(&schema, "data", reinterpret_cast<const char *>(data), size, &error);
  const fuzz::own_error held(error);
  fuzz::check((json == nullptr) == (error != nullptr), "one answer");
  if (json == nullptr) {
    const std::string_view message = zu_do_error_get_msg(error);
    fuzz::check(message.starts_with("data:") && message.size() > 6, "a refusal says why",
                std::string(message));
    return 0;
  }
  const std::string made = json;
  qfree_named(json);
  const fuzz::own_data store(zu_store_load_text("data", made.data(), made.size(), nullptr));
  fuzz::check(store != nullptr, "what is read loads", made);
  return 0;
}
