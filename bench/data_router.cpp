#include <cstdio>

#include "data.hpp"

namespace bench {

namespace {

void write(const interface &ifc) {
  const std::string uri = "/sys/ifc;name=" + key(ifc.name);
  std::printf(",\n\"%s\":{\"description\":\"%s\",\"mtu\":%ld,\"speed\":\"%s\",\"bandwidth\":%ld,\"cost\":%ld,"
              "\"policy\":\"%s\",\"enabled\":%s,\"vlans\":[",
              uri.c_str(), ifc.description.c_str(), ifc.mtu, ifc.speed.c_str(), ifc.bandwidth, ifc.cost,
              ifc.policy.c_str(), ifc.enabled ? "true" : "false");
  for (size_t i = 0; i < ifc.vlans.size(); ++i) std::printf("%s%ld", i == 0 ? "" : ",", ifc.vlans[i]);
  std::printf("]}");
  for (const auto &address : ifc.addresses) {
    std::printf(",\n\"%s/addr;ip=%s\":{\"mask\":\"%s\"}", uri.c_str(), address.ip.c_str(),
                address.mask.c_str());
  }
}

void write(const neighbour &peer) {
  const std::string uri = "/bgp/neighbor;ip=" + peer.ip;
  std::printf(",\n\"%s\":{\"as\":%ld,\"description\":\"%s\",\"source\":\"%s\"}", uri.c_str(), peer.as_number,
              peer.description.c_str(), peer.source.c_str());
  for (const auto &family : peer.families) {
    std::printf(",\n\"%s/family;name=%s\":{\"maximum\":%ld,\"policy\":\"%s\"}", uri.c_str(),
                family.name.c_str(), family.maximum_prefixes, family.policy.c_str());
  }
}

} // namespace

void write(const router &router) {
  std::printf("{\"classes\":{\"/sys/ifc\":{\"mtu\":{\"default\":1500}}},\n\"records\":{\n\"/"
              "sys\":{\"name\":\"%s\"},\n"
              "\"/bgp\":{\"as\":65000}",
              router.host_name.c_str());
  for (const auto &ifc : router.interfaces) write(ifc);
  for (const auto &peer : router.neighbours) write(peer);
  for (const auto &route : router.routes) {
    std::printf(",\n\"/routing/route;prefix=%s;mask=%s\":{\"next_hop\":\"%s\",\"distance\":%ld}",
                route.prefix.c_str(), route.mask.c_str(), route.next_hop.c_str(), route.distance);
  }
  std::printf("}}\n");
}

} // namespace bench
