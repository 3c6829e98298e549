#include <cstdio>
#include <string_view>

#include "data.hpp"

namespace bench::edge {

namespace {

// Writes a record, one property after the other; properties that are not set are left out.
class record {
public:
  explicit record(const std::string &uri) { std::printf(",\n\"%s\":{", uri.c_str()); }
  ~record() { std::printf("}"); }
  record(const record &) = delete;
  record &operator=(const record &) = delete;

  record &set(const char *name, const std::string &value) {
    if (!value.empty()) std::printf("%s\"%s\":\"%s\"", comma(), name, value.c_str());
    return *this;
  }
  record &set(const char *name, int64_t value) {
    std::printf("%s\"%s\":%ld", comma(), name, value);
    return *this;
  }
  record &set(const char *name, bool value) {
    std::printf("%s\"%s\":%s", comma(), name, value ? "true" : "false");
    return *this;
  }
  record &set(const char *name, const std::vector<int64_t> &values) {
    std::printf("%s\"%s\":[", comma(), name);
    for (size_t i = 0; i < values.size(); ++i) std::printf("%s%ld", i == 0 ? "" : ",", values[i]);
    std::printf("]");
    return *this;
  }
  record &set(const char *name, const std::vector<std::string> &values) {
    std::printf("%s\"%s\":[", comma(), name);
    for (size_t i = 0; i < values.size(); ++i) std::printf("%s\"%s\"", i == 0 ? "" : ",", values[i].c_str());
    std::printf("]");
    return *this;
  }

private:
  const char *comma() {
    const char *const before = empty_ ? "" : ",";
    empty_ = false;
    return before;
  }

  bool empty_ = true;
};

void write(const port &port) {
  const std::string uri = "/ports/ethernet;name=" + key(port.name);
  {
    record made(uri);
    made.set("description", port.description).set("mtu", port.mtu).set("speed", port.speed);
    made.set("duplex", port.duplex).set("ip", port.ip).set("mask", port.mask).set("trunk", port.trunk);
    if (port.trunk) {
      made.set("vlans", port.vlans);
    } else {
      made.set("vlan", port.vlan);
    }
    made.set("optics", port.optics).set("relays", port.relays).set("list", port.list);
    made.set("filtered", port.filtered).set("enabled", port.enabled);
  }
  for (const auto &address : port.extra) record(uri + "/extra;ip=" + address.ip).set("mask", address.mask);
}

void write(const prefix_list &list) {
  const std::string uri = "/filters/list;name=" + list.name;
  record(uri).set("description", list.description);
  for (const auto &rule : list.rules) {
    record made(uri + "/rule;number=" + std::to_string(rule.number));
    made.set("number", rule.number).set("permitted", rule.permitted).set("prefix", rule.prefix);
    if (rule.up_to != 0) made.set("up_to", rule.up_to);
  }
}

void write(const instance &instance) {
  const std::string uri = "/bgp/instance;name=" + instance.name;
  record(uri).set("router_id", instance.router_id).set("targets", instance.targets);
  for (const auto &family : instance.families) {
    const std::string below = uri + "/family;name=" + family.name;
    record(below).set("maximum", family.maximum);
    for (const auto &peer : family.peers) {
      record made(below + "/peer;ip=" + peer.ip);
      made.set("as", peer.as_number).set("description", peer.description).set("active", peer.active);
      made.set("own_next_hop", peer.own_next_hop).set("policy", peer.policy);
    }
  }
}

} // namespace

void write(const device &device) {
  std::printf("{\"classes\":{\"/ports/ethernet\":{\"description\":{},\"mtu\":{\"default\":1500},"
              "\"duplex\":{\"default\":\"negotiated\"},\"ip\":{},\"mask\":{},\"vlans\":{},\"vlan\":{},"
              "\"list\":{}},\"/filters/list\":{\"description\":{}},\"/filters/list/rule\":{\"up_to\":{}},"
              "\"/bgp/instance/family/peer\":{\"description\":{}}},\n"
              "\"records\":{\n\"/system\":{\"name\":\"%s\"},\n\"/bgp\":{\"as\":%ld}",
              device.name.c_str(), device.as_number);
  for (const auto &port : device.ports) write(port);
  for (const auto &list : device.lists) write(list);
  for (const auto &instance : device.instances) write(instance);
  std::printf("}}\n");
}

} // namespace bench::edge
