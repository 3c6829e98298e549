// `tovra check` over template text: it must find all that
// the library refuses, and be able to print its findings.
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "stage.hpp"
#include "tools/tovra/check/inspect.hpp"

namespace {

namespace fs = std::filesystem;

constexpr const char *data_text = R"({
  "classes": { "/sys/ifc": { "mtu": { "default": 1500 }, "key": { "type": "PasswordString" } } },
  "records": {
    "/sys": { "host": "edge 1", "up": true, "list": ["a", "b"] },
    "/sys/ifc;name=e1": { "mtu": 9000, "vlans": [10, null, 20], "place": "0/2" },
    "//locations;loc=0.1/sys/ifc;name=e0": { "vlans": [] },
    "/sys/ifc;name=e1/addr;ip=1": { "mask": 24 }
  }
})";

struct scratch_folder {
  scratch_folder() : path(fs::temp_directory_path() / ("tovra-check-" + std::to_string(getpid()))) {
    fs::create_directories(path / "t");
    std::ofstream(path / "data.json") << data_text;
    data = tovra::check::read_data(path / "data.json");
  }
  ~scratch_folder() { fs::remove_all(path); }

  fs::path path;
  std::optional<tovra::check::data_set> data;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  static const scratch_folder scratch;
  const std::string text(reinterpret_cast<const char *>(bytes), size);
  if (text.empty()) return 0;
  std::ofstream(scratch.path / "t/a.tvr", std::ios::binary) << text;
  const fuzz::balanced_memory balanced;
  const fuzz::own_tree tree = fuzz::load_tree(text.c_str(), 4);
  const auto made = tovra::check::inspect(scratch.path / "t", &*scratch.data);
  const tovra::check::findings &found = made.found;
  fuzz::check(tree != nullptr || found.any_error(), "what is refused is found", found.as_text());
  fuzz::check(nlohmann::json::accept(found.as_json()), "what is found is told as JSON", found.as_json());
  return 0;
}
