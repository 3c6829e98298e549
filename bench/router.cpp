// The router that is measured.
#include "router.hpp"

namespace bench {

namespace {

std::string ip(uint32_t first, uint32_t number) {
  return std::to_string(first) + "." + std::to_string(number >> 16 & 255) + "." +
         std::to_string(number >> 8 & 255) + "." + std::to_string(number & 255);
}

interface make_interface(uint32_t i) {
  static const char *const speeds[] = {"100m", "1g", "10g"};
  interface made;
  made.name = std::to_string(i / 48) + "/0/" + std::to_string(i % 48);
  made.description = "to access switch " + std::to_string(i);
  made.mtu = i % 3 == 0 ? 9000 : 1600;
  made.speed = speeds[i % 3];
  made.bandwidth = 1000 * (1 + i % 10);
  made.cost = 10 + i % 90;
  for (uint32_t v = 0; v < 1 + i % 4; ++v) made.vlans.push_back(100 + 10 * v + i % 10);
  made.policy = "qos-" + std::to_string(i % 16);
  made.enabled = i % 8 != 0;
  made.addresses = {{ip(10, i), "255.255.255.0"}, {ip(172, i), "255.255.255.252"}};
  return made;
}

neighbour make_neighbour(uint32_t i) {
  return {ip(192, i),
          64512 + i % 1000,
          "transit-" + std::to_string(i),
          "0",
          {{"ipv4", 1000 + i % 100, "import-" + std::to_string(i % 7)},
           {"ipv6", 2000 + i % 100, "import-" + std::to_string(i % 5)}}};
}

} // namespace

router make_router(uint32_t interfaces) {
  router made;
  made.host_name = "bench";
  for (uint32_t i = 0; i < interfaces; ++i) made.interfaces.push_back(make_interface(i));
  for (uint32_t i = 0; i < interfaces / 10; ++i) made.neighbours.push_back(make_neighbour(i));
  for (uint32_t i = 0; i < interfaces / 2; ++i) {
    made.routes.push_back({ip(100, i << 4), "255.255.255.240", ip(10, i), 1 + i % 200});
  }
  return made;
}

} // namespace bench
