// The router that is measured, as plain structs: N interfaces with nested addresses, N / 10 neighbours with
// nested families, N / 2 static routes. The same N always makes the same router.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct address {
  std::string ip;
  std::string mask;
};

struct interface {
  std::string name;
  std::string description;
  int64_t mtu;
  std::string speed; // as stored: 100m, 1g, 10g
  int64_t bandwidth;
  int64_t cost;
  std::vector<int64_t> vlans;
  std::string policy;
  bool enabled;
  std::vector<address> addresses;
};

struct family {
  std::string name;
  int64_t maximum_prefixes;
  std::string policy;
};

struct neighbour {
  std::string ip;
  int64_t as_number;
  std::string description;
  std::string source;
  std::vector<family> families;
};

struct route {
  std::string prefix;
  std::string mask;
  std::string next_hop;
  int64_t distance;
};

struct router {
  std::string host_name;
  std::vector<interface> interfaces;
  std::vector<neighbour> neighbours;
  std::vector<route> routes;
};

router make_router(uint32_t interfaces);

} // namespace bench
