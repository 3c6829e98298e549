// YAML documents: what is refused names its place; what is loaded became JSON, each token on its line.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "qmalloc/qmalloc.h"
#include "stage.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
  zu_do_error *error = nullptr;
  char *json = zu_store_json_of_yaml("data", text.data(), text.size(), &error);
  const fuzz::own_error held(error);
  fuzz::check((json == nullptr) == (error != nullptr), "one answer");
  if (json == nullptr) {
    unsigned line = 0, column = 0;
    int words = 0;
    std::sscanf(zu_do_error_get_msg(error), "data:%u:%u: %n", &line, &column, &words);
    fuzz::check(words > 0 && line >= 1 && line <= lines + 1 && column >= 1, "a refusal has a place",
                zu_do_error_get_msg(error));
    return 0;
  }
  const std::string made = json;
  qfree_named(json);
  fuzz::check(std::count(made.begin(), made.end(), '\n') < lines, "its lines are those of the document",
              made);
  const fuzz::own_data store(zu_store_load_yaml("data", text.data(), text.size(), nullptr));
  // Numbers that are out of range are refused by both.
  fuzz::check(!store || nlohmann::json::accept(made), "what is loaded became JSON", made);
  return 0;
}
