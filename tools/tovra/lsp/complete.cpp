// What may be written at a place: keywords, ops, ids, paths and properties.
#include "complete.hpp"

#include <algorithm>
#include <array>

#include "meanings.hpp"

namespace tovra::lsp {

namespace {

using in_scope = check::scope_entry::kind;

enum item_kind {
  kind_field = 5,
  kind_reference = 18,
  kind_value = 12,
  kind_keyword = 14,
  kind_operator = 24
};

// The place where something is completed.
struct place {
  const workspace &in;
  const text &of;
  keyword_line line;
  const record *at;   // or null
  std::string before; // the part of the value before the place
  size_t offset;
};

class items {
public:
  items(const text &of, span word) : where_(as_json(of.range_of(word))) {}

  void add(const std::string &text, item_kind kind, const std::string &detail,
           const std::string &about = "") {
    if (!known_.insert(text).second) return;
    json item = {{"label", check::trimmed(text)},
                 {"kind", kind},
                 {"detail", detail},
                 {"sortText", std::to_string(10000 + known_.size())},
                 {"textEdit", {{"range", where_}, {"newText", text}}}};
    if (!about.empty()) item["documentation"] = about;
    made_.push_back(std::move(item));
  }
  json take() { return {{"isIncomplete", false}, {"items", std::move(made_)}}; }

private:
  json where_;
  std::set<std::string> known_;
  json made_ = json::array();
};

// The path that a URI names, or the empty text.
std::string path_of(const std::string &uri) {
  const handle<zu_tvr_uri, zu_tvr_uri_delete> made(uri.empty() ? nullptr : zu_tvr_uri_new(uri.c_str()));
  const auto pattern = made ? check::pattern_of(*made) : std::nullopt;
  return pattern ? check::path_of(*pattern) : "";
}

// What is known from the data about a path, or null.
const check::path_data *data_of(const workspace &in, const std::string &path) {
  if (in.data() == nullptr) return nullptr;
  const auto found = in.data()->paths.find(path);
  return found != in.data()->paths.end() ? &found->second : nullptr;
}

std::set<std::string> properties_of(const workspace &in, const std::string &uri) {
  const check::path_data *data = data_of(in, path_of(uri));
  return data != nullptr ? data->names() : std::set<std::string>();
}

void add_keywords(const place &at, items &into) {
  const std::string op = at.at != nullptr ? at.at->op : "";
  for (const bool fitting : {true, false}) { // keywords that the record's op reads come first
    for (size_t i = 0; i < std::size(tvr::keywords); ++i) {
      const auto keyword = static_cast<word>(i);
      if (reads(op, keyword) != fitting) continue;
      const keyword_meaning &about = meaning_of(keyword);
      const bool valued = std::string_view(about.value) != "not read";
      into.add(std::string(tvr::keyword_of(keyword).text) + (valued ? " " : ""), kind_keyword, about.value,
               about.what);
    }
  }
}

void add_ids(const place &at, items &into) {
  for (const record &record : at.in.set().records) {
    if (!record.id.empty()) into.add(record.id, kind_reference, record.op);
  }
}

// Adds the URIs with which a template reads the records of the data: each key's value is taken from what is
// in scope.
void add_data_uris(const place &at, items &into) {
  if (at.in.data() == nullptr) return;
  for (const auto &[path, data] : at.in.data()->paths) {
    if (data.first_record.empty() || data.first_record.starts_with("//")) {
      if (data.first_record.empty()) into.add(path, kind_value, "of the classes");
      continue;
    }
    std::string uri = data.first_record.substr(0, data.first_record.rfind('/'));
    for (size_t key = uri.find(';'); key != uri.npos; key = uri.find(';', key + 1)) {
      const size_t value = uri.find('=', key) + 1;
      const size_t end = std::min(uri.find('/', value), uri.size());
      uri.replace(value, end - value, "$"); // the walk fills in the first key of a segment
      key = uri.find('/', value);
      if (key == uri.npos) break;
    }
    const std::string last = data.first_record.substr(data.first_record.rfind('/') + 1);
    const bool listed = last.find(';') != last.npos;
    uri += (listed ? "?" : "/") + last.substr(0, last.find(';'));
    into.add(uri, kind_value, std::to_string(data.records) + (data.records == 1 ? " record" : " records"));
  }
}

// The URI by which a line names the record of an entry in scope; empty when it is not known.
std::string name_of(const workspace &in, const check::scope_entry &entry) {
  if (entry.what == in_scope::location) return entry.uri;
  const check::line *line = entry.by->find(word::uri);
  std::string uri = line != nullptr ? check::trimmed(line->value) : "";
  if (uri.empty()) uri = entry.uri; // an iteration has no URI of its own
  if (entry.what == in_scope::single || uri.find('?') != uri.npos) return uri;
  const check::path_data *data = data_of(in, entry.path);
  if (data == nullptr) return "";
  const std::string &first = data->first_record;
  const size_t key = first.find(';', first.rfind('/') + 1);
  if (key == first.npos) return "";
  const char *mark = entry.what == in_scope::group ? "#" : "!";
  return uri.substr(uri.starts_with('/') ? 1 : 0) + first.substr(key, first.find('=', key) + 1 - key) + mark;
}

void add_scope(const place &at, items &into) {
  for (const check::visit &visit : at.in.ways().visits) {
    if (visit.at != at.at) continue;
    for (const auto *stack : {visit.in.records, visit.in.groups}) {
      for (const check::frame *frame = stack; frame != nullptr; frame = frame->below) {
        const std::string uri = name_of(at.in, frame->entry);
        if (!uri.empty()) into.add(uri, kind_value, "read by " + frame->entry.by->id);
      }
    }
  }
}

// The lowest slot number that no property of the record has.
int free_slot(const record *of) {
  std::set<int> taken;
  if (of == nullptr) return 0;
  for (const check::line *line : of->property_lines()) {
    for (size_t colon = line->value.find(':'); colon != std::string::npos;
         colon = line->value.find(':', colon + 1)) {
      if (colon + 1 < line->value.size() && isdigit(static_cast<unsigned char>(line->value[colon + 1]))) {
        taken.insert(std::atoi(line->value.c_str() + colon + 1));
      }
    }
  }
  int slot = 0;
  while (taken.contains(slot)) ++slot;
  return slot;
}

void add_properties(const place &at, const std::string &uri, const std::string &after, items &into) {
  for (const std::string &name : properties_of(at.in, uri)) {
    if (!name.starts_with('_')) into.add(name + after, kind_field, path_of(uri));
  }
}

void add_place_parts(size_t word, const std::string &uri, const place &at, items &into) {
  const std::string slot = std::to_string(free_slot(at.at));
  if (word == 1) {
    for (const char *scheme : {"DEFAULT", "SLOT", "PORT"}) {
      add_properties(at, uri, std::string(":") + scheme, into);
    }
    return;
  }
  for (const char *field : {"", "rack", "slot", "subslot", "port"}) {
    into.add(field + (":" + slot), kind_field, *field == '\0' ? "the whole place" : "a field of the place");
  }
}

void add_condition(const place &at, std::string_view word, items &into) {
  if (word.starts_with('$') && at.at != nullptr) {
    for (const check::line *line : at.at->property_lines()) {
      // NAME:N gives the property the name $tvrN.
      const std::string &value = line->value;
      for (size_t colon = value.find(':'); colon != value.npos; colon = value.find(':', colon + 1)) {
        const size_t begin = value.find_last_of(" \t", colon) + 1;
        const size_t end = value.find_first_not_of("0123456789", colon + 1);
        const std::string number = value.substr(colon + 1, end - colon - 1);
        if (!number.empty()) {
          into.add("$tvr" + number, kind_field, value.substr(begin, value.find(':', begin) - begin));
        }
      }
    }
    return;
  }
  static constexpr std::array<std::pair<const char *, const char *>, 11> operations = {{
      {"eq", "(eq A B): they are equal"},
      {"ne", "(ne A B): they are not"},
      {"lt", "(lt A B): A is less"},
      {"le", "(le A B): A is not greater"},
      {"gt", "(gt A B): A is greater"},
      {"ge", "(ge A B): A is not less"},
      {"set", "(set A): A has a value"},
      {"and", "(and A ...): all hold"},
      {"or", "(or A ...): one holds"},
      {"not", "(not A): it does not hold"},
      {"eval", "(eval \"TEXT\"): a name, a JSON value or a text"},
  }};
  for (const auto &[name, about] : operations) into.add(name, kind_operator, about);
}

// The word that is completed: the part of the value that the completion replaces.
span completed_word(const place &at) {
  static constexpr std::string_view blanks = " \t";
  std::string_view ends = blanks;
  if (at.line.keyword == word::cond) ends = " \t()\"";
  const bool whole = at.at != nullptr && names_id(*at.at, at.line.keyword); // an id may contain blanks
  const std::string &value = at.before;
  const size_t begin = whole ? value.find_first_not_of(blanks) : value.find_last_of(ends) + 1;
  return {at.offset - value.size() + std::min(begin, value.size()), at.offset};
}

void add_values(const place &at, span part, items &into) {
  const size_t word_count = words_of(at.of, {at.line.value.begin, part.begin}).size();
  const std::string first = check::first_word(at.before);
  const check::line *read = at.at != nullptr ? at.at->find(word::uri) : nullptr;
  const std::string uri = read != nullptr ? check::trimmed(read->value) : "";
  switch (at.line.keyword) {
  case word::parent:
    return add_ids(at, into);
  case word::fmt:
    if (at.at == nullptr || !at.at->is("push_mode")) return;
    [[fallthrough]];
  case word::dest:
    return add_ids(at, into);
  case word::op:
    for (const char *op : tvr::ops) into.add(op, kind_keyword, meaning_of_op(op));
    return;
  case word::uri:
    return add_data_uris(at, into);
  case word::props:
  case word::location:
    if (word_count == 0) return add_scope(at, into);
    if (at.line.keyword == word::location) return add_place_parts(word_count, first, at, into);
    return add_properties(at, first, ":" + std::to_string(free_slot(at.at)), into);
  case word::orderby:
    return add_properties(at, uri, "", into);
  case word::query:
    for (const std::string &name : properties_of(at.in, uri)) {
      into.add(name + "=$" + name, kind_field, path_of(uri));
    }
    return;
  case word::cond:
    return add_condition(at, std::string_view(at.of.bytes()).substr(part.begin, part.end - part.begin), into);
  case word::location_scheme:
    return into.add("SLOT", kind_value, "any value will do");
  case word::version:
    return into.add("1", kind_value, "the version of the language");
  default:
    return;
  }
}

} // namespace

json completions_at(const workspace &in, const std::string &path, size_t offset) {
  const auto of = in.files().text_of(path);
  const int number = of->loader_line_at(offset);
  place at{in, *of, keyword_line_at(*of, number), in.record_at(path, number), "", offset};
  const span line = of->loader_line(number);
  const bool in_keyword = at.line.keyword == word::none || offset < at.line.value.begin;
  if (in_keyword) {
    const size_t begin = std::min(of->bytes().find_first_not_of(" \t", line.begin), offset);
    items into(*of, {begin, std::max(offset, at.line.name.end)});
    if (of->bytes().compare(begin, 1, "#") != 0) add_keywords(at, into);
    return into.take();
  }
  at.before = of->bytes().substr(at.line.value.begin, offset - at.line.value.begin);
  const span part = completed_word(at);
  items into(*of, part);
  add_values(at, part, into);
  return into.take();
}

} // namespace tovra::lsp
