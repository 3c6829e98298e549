// Finds the way from one place of the templates to another.
#include "navigate.hpp"

#include <algorithm>

namespace tovra::lsp {

namespace {

enum symbol_kind {
  kind_namespace = 3,
  kind_function = 12,
  kind_array = 18,
  kind_object = 19,
  kind_event = 24
};

symbol_kind kind_of(const record &record) {
  if (record.is("get_collection") || record.is("iter")) return kind_array;
  if (record.is("get_one")) return kind_object;
  if (record.is("push_mode")) return kind_event;
  return record.is("print_if") ? kind_function : kind_namespace;
}

// What makes a node different from others: what it prints, reads or walks.
std::string detail_of(const record &record) {
  const check::line *uri = record.find(word::uri);
  if (record.is("print_if") || record.is("push_mode")) return record.op + " " + record.format;
  return uri != nullptr ? record.op + " " + check::trimmed(uri->value) : record.op;
}

// The range of its "Cmd:" value in the file.
span name_of(const workspace &in, const record &record) {
  const auto of = in.files().text_of(record.file);
  const auto words = words_of(*of, keyword_line_at(*of, record.number).value);
  return words.empty() ? of->loader_line(record.number) : span{words.front().begin, words.back().end};
}

json place_of(const workspace &in, const record &record) {
  return location_json(in.files(), record.file, name_of(in, record));
}

// Editors show no outline that is nested more deeply.
constexpr size_t deepest = 40;

struct outline_node {
  const record *of = nullptr;
  std::vector<size_t> below;
  span whole;
  size_t depth = 0;
};

json symbol(const workspace &in, const text &of, const std::vector<outline_node> &nodes, size_t at) {
  const outline_node &node = nodes[at];
  json made = {{"name", node.of->id},
               {"detail", detail_of(*node.of)},
               {"kind", kind_of(*node.of)},
               {"range", as_json(of.range_of(node.whole))},
               {"selectionRange", as_json(of.range_of(name_of(in, *node.of)))}};
  if (node.below.empty()) return made;
  json children = json::array();
  for (const size_t child : node.below) children.push_back(symbol(in, of, nodes, child));
  made["children"] = std::move(children);
  return made;
}

} // namespace

json definition_at(const workspace &in, const std::string &path, size_t offset) {
  const token at = token_at(in, path, offset);
  json found = json::array();
  if (at.kind == token_kind::id) {
    for (const occurrence &one : occurrences_of(in, at.text)) {
      if (one.definition) found.push_back(location_json(in.files(), one.path, one.where));
    }
  } else if (at.in != nullptr && (at.kind == token_kind::uri || at.kind == token_kind::property)) {
    std::string uri = at.text;
    if (at.kind == token_kind::property) uri = check::first_word(at.value);
    for (const record *reader : readers_of(in, *at.in, uri)) found.push_back(place_of(in, *reader));
  }
  return found;
}

json references_at(const workspace &in, const std::string &path, size_t offset, bool with_definition) {
  const token at = token_at(in, path, offset);
  json found = json::array();
  if (at.kind != token_kind::id) return found;
  for (const occurrence &one : occurrences_of(in, at.text)) {
    if (with_definition || !one.definition) found.push_back(location_json(in.files(), one.path, one.where));
  }
  return found;
}

json id_range_at(const workspace &in, const std::string &path, size_t offset) {
  const token at = token_at(in, path, offset);
  if (at.kind != token_kind::id || at.text.empty()) return nullptr;
  return as_json(in.files().text_of(path)->range_of(at.where));
}

json rename_at(const workspace &in, const std::string &path, size_t offset, const std::string &name) {
  const token at = token_at(in, path, offset);
  if (at.kind != token_kind::id || at.text.empty()) return nullptr;
  json changes = json::object();
  for (const occurrence &one : occurrences_of(in, at.text)) {
    const json where = as_json(in.files().text_of(one.path)->range_of(one.where));
    changes[in.files().uri_of(one.path)].push_back({{"range", where}, {"newText", name}});
  }
  return {{"changes", std::move(changes)}};
}

json outline_of(const workspace &in, const std::string &path) {
  const auto of = in.files().text_of(path);
  const auto &records = in.records_of(path);
  std::vector<outline_node> nodes;
  std::vector<size_t> tops;
  std::map<std::string, size_t> known; // only nodes above: so none is its own ancestor
  for (const record *record : records) {
    if (record->id.empty()) continue;
    outline_node node{record, {}, {of->loader_line(record->number).begin, 0}, 0};
    node.whole.end = of->loader_line(record->lines.back().number).end;
    const auto parent = known.find(record->parent);
    const bool nested = parent != known.end() && nodes[parent->second].depth < deepest;
    if (nested) node.depth = nodes[parent->second].depth + 1;
    (nested ? nodes[parent->second].below : tops).push_back(nodes.size());
    known.emplace(record->id, nodes.size());
    nodes.push_back(std::move(node));
  }
  for (size_t at = nodes.size(); at-- > 0;) { // the range of a node includes those of the nodes below it
    for (const size_t child : nodes[at].below) {
      nodes[at].whole.end = std::max(nodes[at].whole.end, nodes[child].whole.end);
    }
  }
  json found = json::array();
  for (const size_t top : tops) found.push_back(symbol(in, *of, nodes, top));
  return found;
}

json nodes_named(const workspace &in, const std::string &part) {
  json found = json::array();
  for (const record &record : in.set().records) {
    if (record.id.empty() || record.id.find(part) == record.id.npos) continue;
    found.push_back({{"name", record.id}, {"kind", kind_of(record)}, {"location", place_of(in, record)}});
  }
  return found;
}

} // namespace tovra::lsp
