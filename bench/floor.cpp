// The floor: the same bytes, rendered by hand from plain structs, handed out a line at a time.
// tovra_bench_floor N REPS [FILE]: renders once (to FILE), then REPS times; prints `render_ns T1 T2 ...`.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "measure.hpp"
#include "router.hpp"

namespace {

using output_fn = bool (*)(void *context, const char *text);

// A value as the CLI writes it: in double quotes when it holds a blank or begins with '!'.
void append_value(std::string &line, std::string_view value) {
  const bool quoted = value.find_first_of(" \t") != value.npos || value.starts_with('!');
  if (quoted) line += '"';
  for (const char byte : value) {
    if (byte == '"') line += '\\';
    line += byte;
  }
  if (quoted) line += '"';
}

void append_number(std::string &line, int64_t number) {
  char text[24];
  line.append(text, std::to_chars(text, text + sizeof text, number).ptr);
}

class renderer {
public:
  renderer(output_fn output, void *context) : output_(output), context_(context) {}

  bool render(const bench::router &router) {
    bool taken = line("hostname ", router.host_name);
    for (const auto &ifc : router.interfaces) taken = taken && render(ifc);
    for (const auto &route : router.routes) taken = taken && render(route);
    taken = taken && line("router bgp ", 65000);
    indentation_ = 1;
    for (const auto &peer : router.neighbours) taken = taken && render(peer);
    indentation_ = 0;
    return taken && line("end");
  }

private:
  void append(const char *text) { line_ += text; }
  void append(const std::string &value) { append_value(line_, value); }
  void append(int64_t number) { append_number(line_, number); }
  void append(int number) { append_number(line_, number); }

  template <class... Part>
  bool line(Part &&...part) {
    line_.clear();
    line_ += '\n';
    line_.append(indentation_, ' ');
    (append(part), ...);
    return output_(context_, line_.c_str());
  }

  bool render(const bench::interface &ifc) {
    bool taken = line("interface ", ifc.name);
    indentation_ = 1;
    taken = taken && line("description ", ifc.description);
    if (ifc.mtu != 1500) taken = taken && line("mtu ", ifc.mtu);
    taken = taken && line("speed ", ifc.speed == "100m" ? "100" : ifc.speed == "1g" ? "1000" : "10000");
    taken = taken && line("bandwidth ", ifc.bandwidth) && line("ip ospf cost ", ifc.cost);
    line_ = "\n switchport trunk allowed vlan ";
    for (size_t i = 0; i < ifc.vlans.size(); ++i) {
      if (i > 0) line_ += ' ';
      append_number(line_, ifc.vlans[i]);
    }
    taken = taken && output_(context_, line_.c_str()) && line("service-policy input ", ifc.policy);
    for (const auto &address : ifc.addresses)
      taken = taken && line("ip address ", address.ip, " ", address.mask);
    if (!ifc.enabled) taken = taken && line("shutdown");
    indentation_ = 0;
    return taken && line("!");
  }

  bool render(const bench::route &route) {
    return line("ip route ", route.prefix, " ", route.mask, " ", route.next_hop, " ", route.distance);
  }

  bool render(const bench::neighbour &peer) {
    bool taken = line("neighbor ", peer.ip, " remote-as ", peer.as_number) &&
                 line("neighbor ", peer.ip, " description ", peer.description) &&
                 line("neighbor ", peer.ip, " update-source ", peer.source);
    for (const auto &family : peer.families) {
      taken = taken && line("address-family ", family.name);
      indentation_ = 2;
      taken = taken && line("neighbor ", peer.ip, " activate") &&
              line("neighbor ", peer.ip, " maximum-prefix ", family.maximum_prefixes) &&
              line("neighbor ", peer.ip, " route-policy ", family.policy, " in");
      indentation_ = 1;
    }
    return taken;
  }

  output_fn output_;
  void *context_;
  std::string line_;
  size_t indentation_ = 0;
};

bool take(void *context, const char *text) {
  static_cast<std::string *>(context)->append(text);
  return true;
}

} // namespace

int main(int argc, char **argv) {
  if (argc < 3) return std::fprintf(stderr, "usage: tovra_bench_floor N REPS [FILE]\n"), 2;
  const bench::router router = bench::make_router(static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)));
  std::string text;
  renderer(take, &text).render(router);
  if (argc > 3) {
    std::FILE *file = std::fopen(argv[3], "w");
    if (file == nullptr) return std::perror(argv[3]), 1;
    std::fprintf(file, "%s\n", text.c_str() + 1);
    std::fclose(file);
  }
  std::printf("render_ns");
  for (long reps = std::strtol(argv[2], nullptr, 10); reps > 0; --reps) {
    text.clear();
    const long long start = bench::nanoseconds();
    renderer(take, &text).render(router);
    std::printf(" %lld", bench::nanoseconds() - start);
  }
  std::printf("\npeak_kib %ld\n", bench::peak_kib());
}
