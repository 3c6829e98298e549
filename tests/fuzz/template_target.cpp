// Template text: loaded, dumped, and rendered over a small store.
#include "stage.hpp"

namespace {

constexpr std::string_view data_text = R"({
  "classes": { "/sys/ifc": { "mtu": { "default": 1500 }, "key": { "type": "PasswordString" } } },
  "records": {
    "/sys": { "host": "edge 1", "up": true, "list": ["a", "b"], "key": { "PasswordString": "x" }, "none": null },
    "/sys/ifc;name=e1": { "mtu": 9000, "vlans": [10, null, 20], "place": "0/2", "key": "k" },
    "//locations;loc=0.1/sys/ifc;name=e0": { "vlans": [], "mtu": 1500, "_pending_attrs": "{\"mtu\":\"no\"}" },
    "/sys/ifc;name=e1/addr;ip=1": { "mask": 24 },
    "/sys/ifc;name=e1/limit": { "rate": 1.5 }
  }
})";

// Loops within loops that neither ask nor print have no end that is worth waiting for.
bool is_bounded(std::string_view text) {
  int loops = 0;
  for (const char *word : {"iter", "multiline", "push_mode"}) {
    for (size_t at = text.find(word); at != text.npos; at = text.find(word, at + 1)) ++loops;
  }
  return loops <= 8;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  // Loaded each time: a store keeps what is made of its URIs when it is asked for.
  const fuzz::own_data records(zu_store_load_text("data", data_text.data(), data_text.size(), nullptr));
  const std::string text(reinterpret_cast<const char *>(data), size);
  const fuzz::own_tree tree = fuzz::load_tree(text.c_str(), 7);
  if (!tree) return 0;
  static FILE *const nowhere = std::fopen("/dev/null", "w");
  zu_tvr_tree_print(nowhere, 0, tree.get());
  if (!is_bounded(text)) return 0;
  for (const char *node : {"ROOT", "config"}) {
    fuzz::render_alike(tree.get(), records.get(), {.node = node, .defaults = node[0] == 'R'});
  }
  return 0;
}
