// Finds the place of data in a document: the way from the root
// to a node, as names and numbers, is followed in the text.
#include "yang/position.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include <simdjson.h>

namespace zu_yang {

namespace {

struct step {
  std::string_view name, module;
  size_t number; // among those of its name
  bool in_list;
};

// Ends above a node that cannot be distinguished from others of its name; in XML other modules count too.
std::vector<step> way_to(const lyd_node *node, bool is_xml) {
  std::vector<step> way;
  for (; node != nullptr; node = lyd_parent(node)) {
    step made = {node->schema->name, node->schema->module->name, 0,
                 (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0};
    bool unique = true, before = true;
    for (const lyd_node *each = lyd_first_sibling(node); each != nullptr; each = each->next) {
      before = before && each != node;
      if (each->schema == node->schema) {
        made.number += before ? 1 : 0;
      } else {
        unique = unique && (!is_xml || each->schema->name != made.name);
      }
    }
    if (!unique) way.clear();
    if (unique) way.push_back(made);
  }
  std::reverse(way.begin(), way.end());
  return way;
}

// The offset of the last step that the text has.
size_t follow_json(std::string_view text, const std::vector<step> &way) {
  namespace json = simdjson::ondemand;
  const simdjson::padded_string padded(text);
  json::parser parser;
  json::document document;
  json::value at;
  size_t found = 0;
  if (parser.iterate(padded).get(document) != 0 || document.get_value().get(at) != 0) return found;
  std::string_view module;
  for (const step &next : way) {
    json::object object;
    if (at.get_object().get(object) != 0) return found;
    bool there = false;
    for (auto field : object) {
      std::string_view name;
      if (field.unescaped_key().get(name) != 0) return found;
      const size_t colon = name.find(':');
      const std::string_view of = colon == name.npos ? module : name.substr(0, colon);
      there = of == next.module && name.substr(colon + 1) == next.name && field.value().get(at) == 0;
      if (there) break;
    }
    if (!there) return found;
    module = next.module;
    json::array all;
    if (next.in_list && at.get_array().get(all) == 0) {
      size_t left = next.number + 1;
      for (auto each : all) {
        if (each.get(at) != 0) return found;
        if (--left == 0) break;
      }
      if (left != 0) return found;
    }
    found = static_cast<size_t>(at.raw_json_token().data() - padded.data());
  }
  return found;
}

size_t follow_xml(std::string_view text, const std::vector<step> &way) {
  size_t found = 0, matched = 0, depth = 0, seen = 0;
  for (size_t at = text.find('<'); at < text.size() && matched < way.size(); at = text.find('<', at)) {
    const std::string_view rest = text.substr(at);
    const std::string_view mark = rest.starts_with("<!--")        ? "-->"
                                  : rest.starts_with("<![CDATA[") ? "]]>"
                                  : rest.starts_with("<?")        ? "?>"
                                                                  : "";
    if (!mark.empty()) {
      at = text.find(mark, at);
      continue;
    }
    size_t end = at + 1;
    for (char quote = 0; end < text.size() && (quote != 0 || text[end] != '>'); ++end) {
      const bool is_quote = text[end] == '"' || text[end] == '\'';
      if (is_quote && (quote == 0 || quote == text[end])) quote = quote == 0 ? text[end] : '\0';
    }
    if (rest.starts_with("</")) {
      if (depth-- <= matched) return found; // the end of what was found last
    } else {
      std::string_view name = rest.substr(1, rest.find_first_of(" \t\r\n/>", 1) - 1);
      name.remove_prefix(name.find(':') + 1); // npos + 1 is 0
      if (depth == matched && name == way[matched].name && seen++ == way[matched].number) {
        found = at;
        ++matched;
        seen = 0;
      }
      if (text[end - 1] != '/') ++depth;
    }
    at = end;
  }
  return found;
}

// The node of the modules to which a path leads, maybe a choice; null when there is no such node.
const lysc_node *part_at(const ly_ctx *of, const std::string &path) {
  if (const lysc_node *found = lys_find_path(of, nullptr, path.c_str(), 0)) return found;
  const size_t split = path.rfind('/');
  const lysc_node *above = lys_find_path(of, nullptr, path.substr(0, split).c_str(), 0);
  const lysc_node *child = above != nullptr ? lysc_node_child(above) : nullptr;
  while (child != nullptr && child->name != path.substr(split + 1)) child = child->next;
  return child;
}

// Finds the entry or container that has the fewest children of a kind.
class owner {
public:
  explicit owner(const lysc_node *part) : part_(part), above_(lysc_data_parent(part)) {}

  const lyd_node *found() const { return found_; }
  void search(const lyd_node *node) {
    for (; node != nullptr && above_ != nullptr; node = node->next) {
      if (node->schema != above_) {
        search(lyd_child(node));
        continue;
      }
      const size_t has = parts_of(node);
      if (found_ != nullptr && has >= fewest_) continue;
      found_ = node;
      fewest_ = has;
    }
  }

private:
  size_t parts_of(const lyd_node *node) const {
    size_t has = 0;
    for (const lyd_node *child = lyd_child(node); child != nullptr; child = child->next) {
      const lysc_node *of = child->schema; // maybe in a case of it
      while (of != above_ && of != part_) of = of->parent;
      has += of == part_ && (child->flags & LYD_DEFAULT) == 0 ? 1 : 0;
    }
    return has;
  }

  const lysc_node *part_, *above_;
  const lyd_node *found_ = nullptr;
  size_t fewest_ = 0;
};

} // namespace

size_t line_of(const lyd_node *node, std::string_view text) {
  const size_t start = text.find_first_not_of(" \t\r\n");
  const bool is_xml = start != text.npos && text[start] == '<';
  const std::vector<step> way = node != nullptr ? way_to(node, is_xml) : std::vector<step>();
  if (node != nullptr && way.empty()) return 0;
  const size_t at = way.empty() ? std::min(start, text.size())
                    : is_xml    ? follow_xml(text, way)
                                : follow_json(text, way);
  return 1 + static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(at), '\n'));
}

position find_position(const lyd_node *data, std::string_view text, const std::string &told) {
  position made = {told, 0};
  const bool of_one = told.find('[') != told.npos; // of a certain entry
  const lyd_node *node = nullptr;
  lyd_node *exact = nullptr;
  if (data != nullptr && lyd_find_path(data, told.c_str(), 0, &exact) == LY_SUCCESS) {
    node = exact;
    for (const lyd_node *each = exact->next; each != nullptr; each = each->next) { // what stands twice
      if (each->schema == exact->schema && lyd_compare_single(each, exact, 0) == LY_SUCCESS) node = each;
    }
  } else if (told.rfind('/') == 0 && !of_one) { // missing in the document itself
    made.line = line_of(nullptr, text);
  } else if (data != nullptr && !of_one) {
    const lysc_node *part = part_at(LYD_CTX(data), told);
    if (part == nullptr) return made;
    owner of(part);
    of.search(data);
    node = of.found();
    if (node == nullptr) return made;
    const std::unique_ptr<char, void (*)(void *)> above(lyd_path(node, LYD_PATH_STD, nullptr, 0), free);
    if (above == nullptr) throw std::bad_alloc();
    made.path = above.get() + told.substr(told.rfind('/'));
  }
  if (node != nullptr) made.line = line_of(node, text);
  return made;
}

} // namespace zu_yang
