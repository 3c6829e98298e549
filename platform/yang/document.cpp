// Writes instance data, which libyang has read and found valid, as records: in the order of the modules,
// entries of lists in the order of their keys.
#include "yang/document.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "infra/text.hpp"
#include "yang/schema.hpp"

namespace zu_yang {

namespace {

struct tree_deleter {
  void operator()(lyd_node *tree) const { lyd_free_all(tree); }
};
using tree = std::unique_ptr<lyd_node, tree_deleter>;

struct input_deleter {
  void operator()(ly_in *input) const { ly_in_free(input, 0); }
};
using input = std::unique_ptr<ly_in, input_deleter>;

constexpr char blanks[] = " \t\r\n";

[[noreturn]] void refuse_at(std::string_view name, std::string_view text, size_t offset, const char *why) {
  const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(offset), '\n');
  throw refusal{std::string(name) + ":" + std::to_string(line) + ": " + why};
}

void blank(std::string &text, size_t from, size_t end) {
  for (size_t at = from; at < end; ++at) {
    if (text[at] != '\n') text[at] = ' ';
  }
}

// Servers put the data into an envelope. It is replaced by blanks, so that line numbers stay the same.
void open_json(std::string &text) {
  constexpr std::string_view envelope = "\"ietf-restconf:data\"";
  const size_t brace = text.find_first_not_of(blanks);
  const size_t name = text.find_first_not_of(blanks, brace + 1);
  if (name == text.npos || text[brace] != '{' || text.compare(name, envelope.size(), envelope) != 0) return;
  const size_t colon = text.find_first_not_of(blanks, name + envelope.size());
  if (colon == text.npos || text[colon] != ':') return;
  const size_t inner = text.find_first_not_of(blanks, colon + 1);
  const size_t last = text.find_last_not_of(blanks);
  const size_t inner_last = text.find_last_not_of(blanks, last - 1);
  if (inner == text.npos || text[inner] != '{' || text[last] != '}' || text[inner_last] != '}') return;
  blank(text, brace + 1, inner + 1);
  blank(text, inner_last, inner_last + 1);
}

// The start of the first element; npos when the text has none.
size_t first_element(const std::string &text) {
  size_t at = text.find_first_not_of(blanks);
  while (at != text.npos) {
    const std::string_view rest = std::string_view(text).substr(at);
    const std::string_view end = rest.starts_with("<!--") ? "-->" : rest.starts_with("<?") ? "?>" : "";
    if (end.empty()) return rest.starts_with('<') ? at : text.npos;
    at = text.find(end, at);
    at = at == text.npos ? at : text.find_first_not_of(blanks, at + end.size());
  }
  return at;
}

void open_xml(std::string &text) {
  for (bool opened = false;; opened = true) { // a reply, and the data in it
    const size_t start = first_element(text);
    const size_t end = start == text.npos ? start : text.find('>', start);
    if (end == text.npos) return;
    const std::string tag = text.substr(start, end - start);
    const std::string name = tag.substr(1, tag.find_first_of(" \t\r\n/", 1) - 1);
    const std::string local = name.substr(name.find(':') + 1); // npos + 1 is 0
    const bool theirs = (opened && tag.find("xmlns") == tag.npos) ||
                        tag.find("urn:ietf:params:xml:ns:netconf:base:1.0") != tag.npos ||
                        tag.find("urn:ietf:params:xml:ns:yang:ietf-restconf") != tag.npos;
    if (!theirs || (local != "data" && local != "config" && local != "rpc-reply")) return;
    const size_t last = text.rfind("</" + name);
    const bool is_empty = tag.ends_with('/');
    // No text may follow it: it would be lost.
    if (!is_empty) {
      const size_t behind = last == text.npos ? last : text.find_first_not_of(blanks, last + 2 + name.size());
      if (behind == text.npos || last < end || text[behind] != '>' ||
          behind != text.find_last_not_of(blanks)) {
        return;
      }
      blank(text, last, behind + 1);
    }
    blank(text, start, end + 1);
  }
}

// The data without their envelope, each token on its line.
std::string opened(std::string_view name, std::string text) {
  if (const size_t nul = text.find('\0'); nul != text.npos) refuse_at(name, text, nul, "a NUL byte");
  const size_t start = text.find_first_not_of(blanks);
  if (start == text.npos) refuse_at(name, text, 0, "the document is empty");
  const bool is_xml = text[start] == '<';
  is_xml ? open_xml(text) : open_json(text);
  return text;
}

tree parse(const schema &of, std::string_view name, std::string &text) {
  const size_t start = text.find_first_not_of(blanks);
  const bool is_xml = start == text.npos || text[start] == '<'; // blank: of what was no more than an envelope
  if (!is_xml) std::swap(text[0], text[start]); // libyang counts the lines before the first token twice

  ly_in *made_in = nullptr;
  if (const LY_ERR code = ly_in_new_memory(text.c_str(), &made_in); code != LY_SUCCESS) of.refuse(code, name);
  const input from(made_in);
  lyd_node *parsed = nullptr;
  // Validated later, without the state: state is left out, and may be incomplete.
  const LY_ERR code = lyd_parse_data(of.context(), nullptr, made_in, is_xml ? LYD_XML : LYD_JSON,
                                     LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
  tree made(parsed);
  if (code != LY_SUCCESS) of.refuse(code, name);
  const size_t behind = text.find_first_not_of(blanks, std::min(ly_in_parsed(made_in), text.size()));
  if (!is_xml && behind != text.npos) refuse_at(name, text, behind, "text after the end of the document");
  if (!is_xml) std::swap(text[0], text[start]);
  return made;
}

// Frees all nodes that are no configuration, and returns the first of the others.
lyd_node *without_state(lyd_node *first) {
  lyd_node *next = nullptr;
  for (lyd_node *node = first; node != nullptr; node = next) {
    next = node->next;
    if ((node->schema->flags & LYS_CONFIG_W) != 0) {
      without_state(lyd_child(node));
      continue;
    }
    if (node == first) first = next;
    lyd_free_tree(node);
  }
  return first;
}

class writer {
public:
  explicit writer(const schema &of) : of_(of) {}

  std::string take() { return std::move(json_); }
  // What was to be written last, and so what was refused.
  const lyd_node *at() const { return at_; }

  // Writes the records of a place's data, and of all places below.
  void write(uint32_t number, const lyd_node *children, bool is_root) {
    const place &at = of_.places()[number];
    std::vector<const lyd_node *> given(at.leaves.size());
    std::vector<entry> below;
    for (const lyd_node *node = children; node != nullptr; node = node->next) {
      if (node->schema->nodetype == LYS_ANYDATA || node->schema->nodetype == LYS_ANYXML) {
        at_ = node;
        throw refusal{path_of(node->schema) + ": no record holds the data of anydata"};
      }
      const uint32_t index = of_.index_of(node->schema);
      if ((node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
        below.push_back({index, node, {}});
      } else if (given[index] == nullptr) {
        given[index] = node; // of a leaf-list the first
      }
    }
    if (!is_root || !at.leaves.empty()) write_record(at, given, is_root);
    sort(below);
    for (const entry &each : below) {
      const size_t length = uri_.size();
      const place &inner = of_.places()[each.place];
      uri_ += "/" + inner.segment;
      if (inner.node->nodetype == LYS_LIST) add_keys(inner, lyd_child(each.node));
      write(each.place, lyd_child(each.node), false);
      uri_.resize(length);
    }
  }

private:
  struct entry {
    uint32_t place;
    const lyd_node *node;
    std::vector<order_key> keys; // of a list in their order
  };

  static const lyd_value &value_of(const lyd_node *node) {
    return reinterpret_cast<const lyd_node_term *>(node)->value;
  }

  void sort(std::vector<entry> &below) const {
    for (entry &each : below) {
      if (!of_.places()[each.place].in_order_of_keys()) continue;
      const lyd_node *node = lyd_child(each.node);
      for (; node != nullptr && lysc_is_key(node->schema); node = node->next) {
        each.keys.push_back(of_.order_of(value_of(node)));
      }
    }
    std::stable_sort(below.begin(), below.end(), [](const entry &a, const entry &b) {
      return a.place != b.place ? a.place < b.place : a.keys < b.keys;
    });
  }

  void add_keys(const place &of, const lyd_node *node) {
    for (; node != nullptr && lysc_is_key(node->schema); node = node->next) {
      const leaf &key = of.leaves[of_.index_of(node->schema)];
      at_ = node;
      uri_ += ";" + key.name + "=";
      for (const char c : of_.show(key, value_of(node)).text) {
        constexpr std::string_view plain = "-._~:@+,*()[]|";
        const bool as_it_is = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                              plain.find(c) != plain.npos;
        const auto byte = static_cast<unsigned char>(c);
        if (as_it_is) {
          uri_ += c;
        } else {
          uri_.append("%").append({infra::hex_digits[byte >> 4], infra::hex_digits[byte & 15]});
        }
      }
    }
  }

  void write_record(const place &at, const std::vector<const lyd_node *> &given, bool is_root) {
    json_ += json_.empty() ? "\n" : ",\n";
    infra::put_quoted(json_, is_root ? "/" : uri_);
    json_ += ":{";
    bool any = false;
    for (size_t i = 0; i < given.size(); ++i) {
      const leaf &of = at.leaves[i];
      const lyd_node *node = given[i];
      // The class has the default; but the default does not apply where the leaf has no place.
      const bool by_class = !is_root && of.has_default;
      if (node == nullptr ? !by_class : by_class && (node->flags & LYD_DEFAULT) != 0) continue;
      const bool in_uri = of.key && (of.of_one_kind || of_.show(of, value_of(node)).is_text);
      if (in_uri) continue; // where a number of a union would be taken for a text
      json_ += any ? "," : "";
      any = true;
      infra::put_quoted(json_, of.name);
      json_ += ':';
      write_value(of, node, is_root);
    }
    json_ += '}';
  }

  // The level above all modules has no class, so its types are written with the values.
  void write_value(const leaf &of, const lyd_node *node, bool is_root) {
    at_ = node;
    if (node == nullptr) {
      json_ += "null";
      return;
    }
    const bool typed = is_root && !of.type.empty();
    if (typed) {
      json_ += '{';
      infra::put_quoted(json_, of.type);
      json_ += ':';
    }
    if (of.is_list()) {
      std::vector<const lyd_value *> values;
      for (; node != nullptr && node->schema == of.node; node = node->next) values.push_back(&value_of(node));
      of_.put_values(json_, of, std::move(values));
    } else {
      of_.put_value(json_, of, value_of(node));
    }
    json_ += typed ? "}" : "";
  }

  const schema &of_;
  std::string json_;
  std::string uri_;
  const lyd_node *at_ = nullptr;
};

} // namespace

std::string read_document(const choice &chosen, std::string_view name, std::string_view text) {
  const schema of(chosen);
  std::string own = opened(name, std::string(text));
  tree data = parse(of, name, own);
  data.reset(without_state(data.release()));
  lyd_node *first = data.release();
  const LY_ERR code = lyd_validate_all(&first, of.context(), LYD_VALIDATE_NO_STATE, nullptr);
  data.reset(first); // validation may have added defaults and containers before it
  if (code != LY_SUCCESS) {
    of.refuse(code, name, [&](const std::string &path) { return find_position(data.get(), own, path); });
  }
  writer to(of);
  try {
    to.write(0, data.get(), true);
  } catch (const refusal &refused) {
    const size_t line = line_of(to.at(), own);
    throw refusal{std::string(name) + (line != 0 ? ":" + std::to_string(line) : "") + ": " + refused.message};
  }
  return "{\"classes\":" + of.classes() + ",\n\"records\":{" + to.take() + "\n}}\n";
}

} // namespace zu_yang
