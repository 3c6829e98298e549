#include "floor.hpp"

namespace bench::edge {

namespace {

void render(const port &port, text &out) {
  out.line("ethernet ", port.name);
  if (!port.description.empty()) out.line(" description ", port.description);
  if (port.mtu != 1500) out.line(" mtu ", port.mtu);
  if (port.speed == "s1") {
    out.line(" speed 1000");
  } else if (port.speed == "s10") {
    out.line(" speed 10000");
  } else {
    out.line(" speed 100000");
  }
  if (port.duplex != "negotiated") out.line(" duplex ", port.duplex == "both" ? "full" : "half");
  if (port.ip.empty()) {
    out.line(" no address");
  } else {
    out.line(" address ", port.ip, " ", port.mask);
  }
  for (const auto &address : port.extra)
    out.line(" address ", address.ip, " ", address.mask, " beside ", port.name);
  if (port.trunk) {
    out.list(" vlan trunk ", port.vlans);
  } else {
    out.line(" vlan access ", port.vlan);
  }
  if (port.optics) {
    out.line(" optics high-power");
  } else {
    out.line(" no optics high-power");
  }
  for (const auto &relay : port.relays) out.line(" relay to ", relay);
  if (!port.list.empty() && port.filtered) out.line(" access-list ", port.list, " in");
  if (port.enabled) {
    out.line(" no shutdown");
  } else {
    out.line(" shutdown");
  }
  out.line("!");
}

void render(const prefix_list &list, text &out) {
  if (!list.description.empty()) out.line("prefix-list ", list.name, " description ", list.description);
  for (const auto &rule : list.rules) {
    const std::string_view action = rule.permitted ? "permit" : "deny";
    if (rule.up_to == 0) {
      out.line("prefix-list ", list.name, " rule ", rule.number, " ", action, " ", rule.prefix);
    } else {
      out.line("prefix-list ", list.name, " rule ", rule.number, " ", action, " ", rule.prefix, " up-to ",
               rule.up_to);
    }
  }
}

void render(const peer &peer, const family &family, text &out) {
  out.line("   peer ", peer.ip, " as ", peer.as_number);
  if (!peer.description.empty()) out.line("   peer ", peer.ip, " description ", peer.description);
  if (peer.active) {
    out.line("   peer ", peer.ip, " active");
  } else {
    out.line("   no peer ", peer.ip, " active");
  }
  out.line("   peer ", peer.ip, " maximum ", family.maximum);
  if (peer.own_next_hop) out.line("   peer ", peer.ip, " next-hop self");
  out.line("   peer ", peer.ip, " policy ", peer.policy, " in");
}

void render(const instance &instance, text &out) {
  out.line(" instance ", instance.name);
  out.line("  router-id ", instance.router_id);
  for (const auto &target : instance.targets) out.line("  target ", target);
  for (const auto &family : instance.families) {
    out.line("  family ", family.name);
    for (const auto &peer : family.peers) render(peer, family, out);
  }
}

} // namespace

void render(const device &device, text &out) {
  out.line("system name ", device.name);
  for (const auto &port : device.ports) render(port, out);
  for (const auto &list : device.lists) render(list, out);
  out.line("bgp ", device.as_number);
  for (const auto &instance : device.instances) render(instance, out);
  out.line("end");
}

} // namespace bench::edge
