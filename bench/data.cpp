// Writes the data file of a workload: tovra_bench_data WORKLOAD N > FILE.
#include "data.hpp"

#include <cstdio>
#include <cstdlib>
#include <string_view>

int main(int argc, char **argv) {
  if (argc != 3) return std::fprintf(stderr, "usage: tovra_bench_data router|edge N\n"), 2;
  const std::string_view name = argv[1];
  const auto size = static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10));
  if (name == "router") return write(bench::make_router(size)), 0;
  if (name == "edge") return write(bench::edge::make_device(size)), 0;
  return std::fprintf(stderr, "no workload %s\n", argv[1]), 2;
}
