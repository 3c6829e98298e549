#include "edge.hpp"

namespace bench::edge {

namespace {

std::string numbered(const char *name, uint32_t number) {
  return name + std::to_string(number);
}

std::string ip(uint32_t first, uint32_t number) {
  return std::to_string(first) + "." + std::to_string(number >> 16 & 255) + "." +
         std::to_string(number >> 8 & 255) + "." + std::to_string(number & 255);
}

port make_port(uint32_t i) {
  static const char *const speeds[] = {"s1", "s10", "s100"};
  static const char *const duplexes[] = {"negotiated", "both", "one"};
  port made;
  made.name = std::to_string(i / 32) + "/" + std::to_string(i % 32);
  if (i % 4 != 0) made.description = numbered("rack ", i / 32) + numbered(" row ", i % 32);
  made.mtu = i % 3 == 0 ? 9000 : 1500;
  made.speed = speeds[i % 3];
  made.duplex = duplexes[i / 2 % 3];
  if (i % 4 != 1) {
    made.ip = ip(10, i);
    made.mask = "255.255.255.0";
  }
  made.trunk = i % 2 == 0;
  for (uint32_t v = 0; v < 1 + i % 4; ++v) made.vlans.push_back(100 + 10 * v + i % 10);
  made.vlan = 10 + i % 80;
  made.optics = i % 5 == 0;
  for (uint32_t r = 0; r < 1 + i % 3; ++r) made.relays.push_back(ip(172, 256 * r + i % 250));
  if (i % 4 != 2) made.list = numbered("customers-", i % 64);
  made.filtered = i % 3 != 0;
  made.enabled = i % 8 != 0;
  if (i % 2 == 0) made.extra.push_back({ip(11, i), "255.255.255.252"});
  return made;
}

prefix_list make_list(uint32_t i) {
  prefix_list made = {numbered("customers-", i), "", {}};
  if (i % 2 == 0) made.description = numbered("region ", i);
  for (uint32_t r = 1; r <= 5; ++r)
    made.rules.push_back({10 * r, (i + r) % 3 != 0, ip(20 + r, i << 8) + "/24", r % 2 == 0 ? 32 : 0});
  return made;
}

peer make_peer(uint32_t i) {
  peer made = {ip(192, i), 64512 + i % 1000, "", i % 6 != 0, i % 3 == 0, numbered("import-", i % 7)};
  if (i % 2 == 0) made.description = numbered("transit-", i);
  return made;
}

instance make_instance(uint32_t i) {
  instance made = {numbered("tenant-", i), ip(1, i), {}, {}};
  for (uint32_t t = 0; t < 2; ++t) made.targets.push_back(numbered("65000:", 2 * i + t));
  static const char *const names[] = {"ipv4", "ipv6"};
  for (uint32_t f = 0; f < 2; ++f) {
    family of = {names[f], 1000 + i % 100, {}};
    for (uint32_t p = 0; p < 5; ++p) of.peers.push_back(make_peer(10 * i + 5 * f + p));
    made.families.push_back(of);
  }
  return made;
}

} // namespace

device make_device(uint32_t ports) {
  device made = {"bench", 65000, {}, {}, {}};
  for (uint32_t i = 0; i < ports; ++i) made.ports.push_back(make_port(i));
  for (uint32_t i = 0; i < ports / 10; ++i) made.lists.push_back(make_list(i));
  for (uint32_t i = 0; i < ports / 50; ++i) made.instances.push_back(make_instance(i));
  return made;
}

} // namespace bench::edge
