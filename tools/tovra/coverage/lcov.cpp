// The format that coverage viewers read. A node is a function; its "Cmd:" line is the line that counts; its
// condition is a branch, taken when the line is written.
#include <algorithm>

#include "report.hpp"

namespace tovra::coverage {

namespace {

std::string count(const char *name, uint64_t number) {
  return std::string(name) + ":" + std::to_string(number) + "\n";
}

std::string branches(const file_cover &nodes) {
  std::string text;
  uint64_t all = 0, taken = 0;
  for (const auto &[at, node] : nodes) {
    if (!node.conditional) continue;
    const auto withheld = node.withheld.find("condition");
    const uint64_t times[] = {node.lines, withheld != node.withheld.end() ? withheld->second : 0};
    for (size_t i = 0; i < 2; ++i) {
      text += "BRDA:" + std::to_string(at.first) + ",0," + std::to_string(i) + "," +
              (node.walks == 0 ? "-" : std::to_string(times[i])) + "\n";
      ++all;
      taken += times[i] != 0 ? 1 : 0;
    }
  }
  return text + count("BRF", all) + count("BRH", taken);
}

} // namespace

std::string as_lcov(const report &told) {
  std::string text;
  for (const auto &[file, nodes] : told.templates) {
    text += "TN:\nSF:" + file + "\n";
    for (const auto &[at, node] : nodes) text += "FN:" + std::to_string(at.first) + "," + at.second + "\n";
    for (const auto &[at, node] : nodes)
      text += "FNDA:" + std::to_string(node.walks) + "," + at.second + "\n";
    const auto walked =
        std::count_if(nodes.begin(), nodes.end(), [](const auto &node) { return node.second.walks != 0; });
    text += count("FNF", nodes.size()) + count("FNH", static_cast<uint64_t>(walked)) + branches(nodes);
    for (const auto &[at, node] : nodes) {
      text += "DA:" + std::to_string(at.first) + "," + std::to_string(node.hits()) + "\n";
    }
    const share lines = nodes_of(nodes);
    text += count("LF", lines.all) + count("LH", lines.covered) + "end_of_record\n";
  }
  return text;
}

} // namespace tovra::coverage
