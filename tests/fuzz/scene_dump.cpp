// Writes all that renders of scenes do. scene_dump SEED COUNT writes, for each of COUNT scenes, parts of one
// line `SEED PART LENGTH` and that many bytes: the load, and a render at each trace level. scene_dump SEED
// prints the scene. scripts/compare compiles it against two commits of the library, so it uses the public
// interface only.
#include <random>
#include <unistd.h>

#include "scene.hpp"

namespace {

constexpr unsigned seconds_of_a_scene = 5;

std::string bytes_of(uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(1000 + random() % 3000, '\0');
  for (char &byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::string dump_of(zu_tvr_tree *tree) {
  char *text = nullptr;
  size_t length = 0;
  FILE *stream = open_memstream(&text, &length);
  zu_tvr_tree_print(stream, 0, tree);
  std::fclose(stream);
  const std::string dump(text, length);
  std::free(text);
  return dump;
}

// The parts of a scene. The renders share one tree, the first of them without traces.
std::string tell(uint32_t seed, const fuzz::scene &made) {
  const fuzz::balanced_memory balanced;
  std::string parts, log;
  const auto put = [&](const std::string &part, const std::string &text) {
    parts += std::to_string(seed) + " " + part + " " + std::to_string(text.size()) + "\n" + text;
  };
  const fuzz::own_tree tree = fuzz::load_tree(made.templates.c_str(), 7, &log);
  put("load", log + (tree ? dump_of(tree.get()) : "refused\n"));
  if (!tree) return parts;
  const fuzz::own_data store = fuzz::load_data(made.data);
  for (const int level : {0, 3, 7}) {
    put(std::to_string(level), fuzz::render(tree.get(), store.get(), made.asked, level).did.log);
  }
  return parts;
}

void show(const fuzz::scene &made) {
  const fuzz::request &asked = made.asked;
  std::printf(
      "render %s, defaults %d, tags %d, fetch count %u, failing request %u with %d, refused piece %d\n",
      asked.node, asked.defaults, asked.tag_submodes, asked.fetch_count,
      static_cast<unsigned>(asked.failing_request), asked.failure, asked.refused_piece);
  zu_do_print_properties(stdout, 1, asked.arguments);
  std::printf("%s\n%s\n", made.templates.c_str(), made.data.c_str());
}

} // namespace

int main(int count, char **arguments) {
  if (count < 2) return 2;
  const auto first = static_cast<uint32_t>(std::atoi(arguments[1]));
  const auto scenes = static_cast<uint32_t>(count > 2 ? std::atoi(arguments[2]) : 1);
  for (uint32_t seed = first; seed < first + scenes; ++seed) {
    alarm(seconds_of_a_scene); // ends the process
    const std::string bytes = bytes_of(seed);
    const fuzz::scene made(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    if (count == 2) {
      show(made);
      continue;
    }
    const std::string parts = tell(seed, made);
    std::fwrite(parts.data(), 1, parts.size(), stdout);
    std::fflush(stdout);
  }
  return 0;
}
