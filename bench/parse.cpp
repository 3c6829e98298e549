// The comparison for loading: the JSON parser reads a data file into its own tree, and nothing more is done.
// tovra_bench_parse FILE: prints `parse_ns T`. One file per run, as a host loads it.
#include <cstdio>
#include <simdjson.h>

#include "measure.hpp"

int main(int argc, char **argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: tovra_bench_parse FILE\n"), 2;
  const long long start = bench::nanoseconds();
  simdjson::dom::parser parser;
  const auto document = parser.load(argv[1]);
  const long long took = bench::nanoseconds() - start;
  if (document.error() != simdjson::SUCCESS)
    return std::fprintf(stderr, "%s\n", simdjson::error_message(document.error())), 1;
  std::printf("parse_ns %lld\n", took);
}
