// The second router that is measured. Most of its settings are optional, and their lines are printed whether
// they are set or not. It has N ports, N / 10 prefix lists, and N / 50 BGP instances with two families each
// and five peers each. The same N always makes the same router. An empty text is a property that is not set.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench::edge {

struct address {
  std::string ip;
  std::string mask;
};

struct port {
  std::string name;
  std::string description;
  int64_t mtu;        // 1500 by default
  std::string speed;  // as stored: s1, s10, s100
  std::string duplex; // as stored: negotiated (the default), both, one
  std::string ip;
  std::string mask;
  bool trunk;
  std::vector<int64_t> vlans; // of a trunk port
  int64_t vlan;               // of any other port
  bool optics;
  std::vector<std::string> relays;
  std::string list;
  bool filtered;
  bool enabled;
  std::vector<address> extra;
};

struct rule {
  int64_t number;
  bool permitted;
  std::string prefix;
  int64_t up_to; // 0: not set
};

struct prefix_list {
  std::string name;
  std::string description;
  std::vector<rule> rules;
};

struct peer {
  std::string ip;
  int64_t as_number;
  std::string description;
  bool active;
  bool own_next_hop;
  std::string policy;
};

struct family {
  std::string name;
  int64_t maximum;
  std::vector<peer> peers;
};

struct instance {
  std::string name;
  std::string router_id;
  std::vector<std::string> targets;
  std::vector<family> families;
};

struct device {
  std::string name;
  int64_t as_number;
  std::vector<port> ports;
  std::vector<prefix_list> lists;
  std::vector<instance> instances;
};

device make_device(uint32_t ports);

} // namespace bench::edge
