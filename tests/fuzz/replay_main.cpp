// Runs a target over files, and the files of folders, without a fuzzer: what was found once stays covered.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz.hpp"

int main(int count, char **arguments) {
  namespace fs = std::filesystem;
  int files = 0;
  const auto run = [&](const fs::path &path) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    ++files;
  };
  for (int i = 1; i < count; ++i) {
    if (!fs::is_directory(arguments[i])) {
      run(arguments[i]);
      continue;
    }
    for (const auto &entry : fs::directory_iterator(arguments[i])) run(entry.path());
  }
  if (files == 0) std::fprintf(stderr, "nothing to replay\n");
  return files > 0 ? 0 : 1;
}
