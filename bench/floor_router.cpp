#include "floor.hpp"

namespace bench {

namespace {

void render(const interface &ifc, text &out) {
  out.line("interface ", ifc.name);
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
  out.line(" ip ospf cost ", ifc.cost);
  out.list(" switchport trunk allowed vlan ", ifc.vlans);
  out.line(" service-policy input ", ifc.policy);
  for (const auto &address : ifc.addresses) out.line(" ip address ", address.ip, " ", address.mask);
  if (!ifc.enabled) out.line(" shutdown");
  out.line("!");
}

void render(const neighbour &peer, text &out) {
  out.line(" neighbor ", peer.ip, " remote-as ", peer.as_number);
  out.line(" neighbor ", peer.ip, " description ", peer.description);
  out.line(" neighbor ", peer.ip, " update-source ", peer.source);
  for (const auto &family : peer.families) {
    out.line(" address-family ", family.name);
    out.line("  neighbor ", peer.ip, " activate");
    out.line("  neighbor ", peer.ip, " maximum-prefix ", family.maximum_prefixes);
    out.line("  neighbor ", peer.ip, " route-policy ", family.policy, " in");
  }
}

} // namespace

void render(const router &router, text &out) {
  out.line("hostname ", router.host_name);
  for (const auto &ifc : router.interfaces) render(ifc, out);
  for (const auto &route : router.routes)
    out.line("ip route ", route.prefix, " ", route.mask, " ", route.next_hop, " ", route.distance);
  out.line("router bgp 65000");
  for (const auto &peer : router.neighbours) render(peer, out);
  out.line("end");
}

} // namespace bench
