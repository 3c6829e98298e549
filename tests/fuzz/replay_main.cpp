// Runs a target over files, the files of folders, and as many random inputs as a number says (always the
// same), without a fuzzer: what was found once stays covered.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz.hpp"

int main(int count, char **arguments) {
  namespace fs = std::filesystem;
  int inputs = 0;
  const auto run = [&](const std::string &text) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    ++inputs;
  };
  const auto run_file = [&](const fs::path &path) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    run({std::istreambuf_iterator<char>(file), {}});
  };
  const auto run_random = [&](int wanted) {
    std::mt19937 random; // the same numbers in every run
    for (; wanted > 0; --wanted) {
      std::string text(1000 + random() % 3000, '\0');
      for (char &byte : text) byte = static_cast<char>(random());
      run(text);
    }
  };
  for (int i = 1; i < count; ++i) {
    if (fs::is_directory(arguments[i])) {
      for (const auto &entry : fs::directory_iterator(arguments[i])) run_file(entry.path());
    } else if (const int wanted = std::atoi(arguments[i]); wanted > 0) {
      run_random(wanted);
    } else {
      run_file(arguments[i]);
    }
  }
  if (inputs == 0) std::fprintf(stderr, "nothing to replay\n");
  return inputs > 0 ? 0 : 1;
}
