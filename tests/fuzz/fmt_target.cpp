// Template text that loads, formatted: it loads to the same nodes, and formatted again it stays as it is.
#include "fuzz.hpp"
#include "tools/tovra/fmt/format.hpp"
#include "tools/tovra/fmt/nodes.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  const std::string given(reinterpret_cast<const char *>(bytes), size);
  const std::string text = given.c_str(); // up to a NUL, as the loader reads it
  const fuzz::balanced_memory balanced;
  const std::string made = tovra::fmt::formatted(text);
  const auto before = tovra::fmt::load_nodes(text), after = tovra::fmt::load_nodes(made);
  if (!before.loaded) return 0;
  fuzz::check(after.loaded, "what loads is formatted to what loads", made + "\n" + after.refusal);
  fuzz::same("nodes before and after", before.text, after.text);
  fuzz::same("formatted once and twice", made, tovra::fmt::formatted(made));
  return 0;
}
