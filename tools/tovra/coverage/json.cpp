// Coverage as JSON: for other tools, and to add up the coverage of several processes.
#include <nlohmann/json.hpp>

#include "../value_json.hpp"
#include "report.hpp"

namespace tovra::coverage {

using nlohmann::ordered_json;

NLOHMANN_JSON_SERIALIZE_ENUM(seen, {{seen::nowhere, "nowhere"},
                                    {seen::withheld, "withheld"},
                                    {seen::condition, "condition"},
                                    {seen::partly, "partly"}})

namespace {

ordered_json json_of(const share &of) {
  return {{"covered", of.covered}, {"all", of.all}};
}

ordered_json json_of(const place &at, const node_cover &node) {
  ordered_json made = {{"line", at.first},
                       {"id", at.second},
                       {"op", node.op},
                       {"walks", node.walks},
                       {"lines", node.lines},
                       {"records", node.records},
                       {"errors", node.errors},
                       {"conditional", node.conditional},
                       {"withheld", node.withheld}};
  if (node.walks == 0) {
    made["never"] = node.never;
    made["for_lack_of_data"] = node.for_lack_of_data;
  }
  return made;
}

ordered_json json_of(const record_gaps &record) {
  ordered_json gaps = ordered_json::array();
  for (const gap &one : record.gaps) {
    gaps.push_back({{"property", one.property}, {"seen", one.how}});
    if (!one.by.empty()) gaps.back()["by"] = one.by;
    if (!one.elements.empty()) gaps.back()["elements"] = one.elements;
  }
  return {{"record", record.uri}, {"shown", record.shown}, {"properties", std::move(gaps)}};
}

ordered_json json_of(const std::string &file, const data_cover &data) {
  ordered_json paths = ordered_json::array();
  for (const auto &[path, cover] : data) {
    ordered_json gaps = ordered_json::array();
    for (const record_gaps &record : cover.gaps) gaps.push_back(json_of(record));
    paths.push_back({{"path", path},
                     {"records", cover.records},
                     {"properties", cover.properties},
                     {"not_in_text", std::move(gaps)}});
  }
  return {{"file", file}, {"properties", json_of(properties_of(data))}, {"paths", std::move(paths)}};
}

node_cover read_node(const ordered_json &from) {
  return {from.at("op"),       from.at("walks"),        from.at("lines"),
          from.at("records"),  from.at("errors"),       from.at("conditional"),
          from.at("withheld"), from.value("never", ""), from.value("for_lack_of_data", false)};
}

path_cover read_path(const ordered_json &from) {
  path_cover made{from.at("records"), from.at("properties"), {}};
  for (const auto &record : from.at("not_in_text")) {
    record_gaps read{record.at("record"), record.at("shown"), {}};
    for (const auto &one : record.at("properties")) {
      read.gaps.push_back({one.at("property"), one.at("seen"), one.value("by", ""),
                           one.value("elements", std::vector<uint64_t>{})});
    }
    made.gaps.push_back(std::move(read));
  }
  return made;
}

} // namespace

std::string as_json(const report &told) {
  ordered_json templates = ordered_json::array(), data = ordered_json::array();
  for (const auto &[file, nodes] : told.templates) {
    ordered_json made = ordered_json::array();
    for (const auto &[at, node] : nodes) made.push_back(json_of(at, node));
    templates.push_back({{"file", file}, {"nodes", std::move(made)}});
  }
  for (const auto &[file, paths] : told.data) data.push_back(json_of(file, paths));
  const ordered_json made = {{"nodes", json_of(told.nodes())},
                             {"properties", json_of(told.properties())},
                             {"templates", std::move(templates)},
                             {"data", std::move(data)}};
  return json_text(made);
}

report from_json(const std::string &text) {
  const ordered_json from = ordered_json::parse(text);
  report made;
  for (const auto &file : from.at("templates")) {
    file_cover &nodes = made.templates[file.at("file")];
    for (const auto &node : file.at("nodes")) nodes[{node.at("line"), node.at("id")}] = read_node(node);
  }
  for (const auto &file : from.at("data")) {
    data_cover &paths = made.data[file.at("file")];
    for (const auto &path : file.at("paths")) paths[path.at("path")] = read_path(path);
  }
  return made;
}

} // namespace tovra::coverage
