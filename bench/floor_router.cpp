#include "floor.hpp"

namespace bench {

namespace {

void render(const interface &ifc, text &out) {
  out.line("ethernet ", ifc.name);
  out.line(" description ", ifc.description);
  if (ifc.mtu != 1500) out.line(" mtu ", ifc.mtu);
  if (ifc.speed == "100m") {
    out.line(" speed 100");
  } else if (ifc.speed == "1g") {
    out.line(" speed 1000");
  } else {
    out.line(" speed 10000");
  }
  out.line(" bandwidth ", ifc.bandwidth);
  out.line(" ospf cost ", ifc.cost);
  out.list(" trunk-vlans ", ifc.vlans);
  out.line(" policy in ", ifc.policy);
  for (const auto &address : ifc.addresses) out.line(" address ", address.ip, " ", address.mask);
  if (!ifc.enabled) out.line(" shutdown");
  out.line("!");
}

void render(const neighbour &peer, text &out) {
  out.line(" neighbor ", peer.ip, " as ", peer.as_number);
  out.line(" neighbor ", peer.ip, " description ", peer.description);
  out.line(" neighbor ", peer.ip, " source loopback ", peer.source);
  for (const auto &family : peer.families) {
    out.line(" address-family ", family.name);
    out.line("  neighbor ", peer.ip, " activate");
    out.line("  neighbor ", peer.ip, " prefixes ", family.maximum_prefixes);
    out.line("  neighbor ", peer.ip, " policy ", family.policy, " in");
  }
}

} // namespace

void render(const router &router, text &out) {
  out.line("hostname ", router.host_name);
  for (const auto &ifc : router.interfaces) render(ifc, out);
  for (const auto &route : router.routes)
    out.line("route ", route.prefix, " ", route.mask, " ", route.next_hop, " ", route.distance);
  out.line("bgp 65000");
  for (const auto &peer : router.neighbours) render(peer, out);
  out.line("end");
}

} // namespace bench
