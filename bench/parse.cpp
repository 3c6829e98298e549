// What loading is measured against: a data file read and parsed by the JSON parser into its own tree, and
// nothing made of it. tovra_bench_parse FILE: prints `parse_ns T`. One file a run, as a host loads it.
#include <chrono>
#include <cstdio>
#include <simdjson.h>

int main(int argc, char **argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: tovra_bench_parse FILE\n"), 2;
  const auto start = std::chrono::steady_clock::now();
  simdjson::dom::parser parser;
  const auto document = parser.load(argv[1]);
  const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - start;
  if (document.error() != simdjson::SUCCESS)
    return std::fprintf(stderr, "%s\n", simdjson::error_message(document.error())), 1;
  std::printf("parse_ns %lld\n", static_cast<long long>(took.count()));
}
