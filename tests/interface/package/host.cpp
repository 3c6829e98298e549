// The smallest host in C++: renders over an empty store and prints what comes.
#include <iostream>
#include <store/store.h>
#include <zu_tovra/render.hpp>

static bool show(zu_data_ifc *data, const char *node) {
  zu_tovra::renderer renderer(data);
  const zu_tovra::result made = renderer.render({.node = node});
  for (const zu_tovra::error &each : made.errors) {
    std::cerr << each.file << ':' << each.line << ": " << each.message << " (" << each.uri << ")\n";
  }
  if (made.whole) std::cout << made.text;
  return made.whole;
}

int main() {
  constexpr std::string_view empty = R"({"records": {}})";
  if (!zu_tovra_init() || zu_tovra_trace_init() != 0) return 1;
  zu_data_ifc *data = zu_store_load_text("empty", empty.data(), empty.size(), nullptr);
  if (data == nullptr) return 1;
  const bool whole = show(data, nullptr);
  data->ops->free(data);
  return whole && zu_tovra_stop() ? 0 : 1;
}
