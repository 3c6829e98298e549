// tovra_bench_floor WORKLOAD N REPS [FILE]: renders by hand once (to FILE), then REPS times; prints
// `render_ns T1 T2 ...`.
#include "floor.hpp"
#include "measure.hpp"

namespace {

template <class Device>
int measure(const Device &device, long reps, const char *path) {
  bench::text out;
  render(device, out);
  if (path != nullptr) {
    std::FILE *file = std::fopen(path, "w");
    if (file == nullptr) return std::perror(path), 1;
    std::fwrite(out.view().data(), 1, out.view().size(), file);
    std::fclose(file);
  }
  std::printf("render_ns");
  for (; reps > 0; --reps) {
    out.clear();
    const long long start = bench::nanoseconds();
    render(device, out);
    std::printf(" %lld", bench::nanoseconds() - start);
  }
  std::printf("\npeak_kib %ld\n", bench::peak_kib());
  return 0;
}

} // namespace

int main(int argc, char **argv) {
  if (argc < 4) return std::fprintf(stderr, "usage: tovra_bench_floor router|edge N REPS [FILE]\n"), 2;
  const std::string_view name = argv[1];
  const auto size = static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10));
  const long reps = std::strtol(argv[3], nullptr, 10);
  const char *path = argc > 4 ? argv[4] : nullptr;
  if (name == "router") return measure(bench::make_router(size), reps, path);
  if (name == "edge") return measure(bench::edge::make_device(size), reps, path);
  return std::fprintf(stderr, "no workload %s\n", argv[1]), 2;
}
