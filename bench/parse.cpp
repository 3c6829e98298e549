// What loading is measured against: a data file read and parsed by the JSON parser into its own tree, and
// nothing made of it. tovra_bench_parse FILE: prints `parse_ns T`. One file a run, as a host loads it.
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
