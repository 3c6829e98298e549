// Whole scenes. What a render does must not depend on what is traced, nor its text on how many rows a fetch
// brings.
#include "scene.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  const fuzz::balanced_memory balanced;
  const fuzz::scene made(bytes, size);
  const bool shown = std::getenv("TOVRA_SHOW_SCENE") != nullptr;
  if (shown) std::printf("%s\n%s\n", made.templates.c_str(), made.data.c_str());

  const fuzz::own_tree tree = fuzz::load_tree(made.templates.c_str(), 4);
  if (!tree) return 0;
  const fuzz::own_data store = fuzz::load_data(made.data);
  fuzz::request asked = made.asked;
  const fuzz::outcome got = fuzz::render_alike(tree.get(), store.get(), asked);
  if (shown) std::printf("%s\n%s", got.told.c_str(), got.log.c_str());
  const bool failing = asked.failing_request != 0 || asked.refused_piece != 0;
  if (made.one_batch || failing || !got.clean) return 0;
  asked.fetch_count = (asked.fetch_count + 1) % 4;
  fuzz::same("texts for two fetch counts", got.text,
             fuzz::render(tree.get(), store.get(), asked, 0).did.text);
  return 0;
}
