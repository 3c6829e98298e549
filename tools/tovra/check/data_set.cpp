// Reads a data file twice: the store finds out whether it is good, and we read its text for what is in it.
#include "data_set.hpp"

#include <algorithm>
#include <unordered_set>

#include "../data_file.hpp"
#include "../handles.hpp"
#include "uri_text.hpp"
#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

using nlohmann::json;

struct key {
  std::string name;
  std::string value; // decoded
};

std::vector<key> keys_of(zu_do_uri_segment *segment) {
  std::vector<key> found;
  zu_do_nvlist *keys = segment != nullptr ? zu_do_uri_segment_get_keys(segment) : nullptr;
  if (keys == nullptr) return found;
  const iterator_handle iter(zu_do_iter_new());
  zu_do_nvlist_iter(keys, iter.get());
  while (zu_do_nvlist_has_next(keys, iter.get())) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(keys, iter.get());
    const char *value = zu_do_value_get_string(zu_do_nvpair_get_value(pair), nullptr);
    found.push_back({zu_do_nvpair_get_name(pair), value != nullptr ? value : ""});
  }
  return found;
}

// The URI without its location.
std::string relative(std::string_view uri) {
  if (!uri.starts_with("//")) return std::string(uri);
  return std::string(uri.substr(std::min(uri.find('/', 2), uri.size())));
}

// True for a whole number in the form in which it would be printed.
bool is_whole_number(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  return text == "0" || (!text.empty() && text.size() < 19 && text.front() != '0' &&
                         text.find_first_not_of("0123456789") == text.npos);
}

// Finds the lines on which members stand, which the JSON parser does not report. Members that are asked for
// in the order of the file cost one pass over it. After very many passes it gives up, so that a bad file
// cannot hold up a check.
class line_finder {
public:
  explicit line_finder(const std::string &text) : text_(text) {}

  // The line of the member whose name is that record URI.
  int line_of(const std::string &uri) {
    const std::string member = json(uri).dump();
    size_t at = find(member, at_);
    if (at == text_.npos) {
      at = find(member, 0);
      if (at == text_.npos) return 1;
      at_ = 0;
      line_ = 1;
    }
    line_ += breaks(at);
    at_ = at;
    return line_;
  }

  // The line of that property of the record.
  int line_of_property(const std::string &uri, const std::string &name) {
    line_of(uri);
    const std::string member = json(name).dump();
    for (size_t at = find(member, at_ + 1); at != text_.npos; at = find(member, at + 1)) {
      const size_t behind = text_.find_first_not_of(" \t\r\n", at + member.size());
      if (behind != text_.npos && text_[behind] == ':') return line_ + breaks(at);
    }
    return line_;
  }

private:
  size_t find(const std::string &member, size_t from) {
    if (left_ == 0) return text_.npos;
    const size_t at = text_.find(member, from);
    left_ -= std::min(left_, std::min(at, text_.size()) - std::min(from, text_.size()) + 1);
    return at;
  }
  int breaks(size_t until) const {
    return static_cast<int>(std::count(text_.data() + at_, text_.data() + until, '\n'));
  }

  const std::string &text_;
  size_t at_ = 0;
  int line_ = 1;                     // of at_
  size_t left_ = size_t{1000000000}; // how many more bytes it may search
};

void add(some_records &records, const std::string &record, const auto &line) {
  if (records.count++ != 0) return;
  records.line = line();
  records.record = record;
}

// Reads texts that the store has accepted.
class reader {
public:
  reader(data_set &data, const std::string &text) : data_(data), text_(text), lines_(text) {}

  void read() {
    std::string section;
    std::string member;
    // Each member is taken as soon as it is parsed, and then dropped: this keeps the order of the file.
    const auto take = [&](int depth, json::parse_event_t event, json &parsed) {
      if (event == json::parse_event_t::key && depth <= 2) (depth == 1 ? section : member) = parsed;
      if (event != json::parse_event_t::object_end || depth != 2) return true;
      if (section == "classes") take_class(member, parsed);
      if (section == "records") take_record(member, parsed);
      return false;
    };
    [[maybe_unused]] const json emptied = json::parse(text_, take, false);
    find_orphans();
  }

private:
  void take_class(const std::string &written, const json &properties) {
    const uri_handle uri(zu_do_uri_new(written.c_str())); // with its leading slash
    path_data &known = data_.paths[zu_do_uri_get_uri_str(uri.get())];
    for (const auto &[name, said] : properties.items()) {
      json &all = known.properties[name].said;
      if (all.is_null()) all = json::object();
      all.update(said);
    }
  }

  void take_value(property_data &property, value_kind of, const json &value, const std::string &written,
                  const auto &line) {
    add(property.seen[static_cast<size_t>(of)], written, line);
    if (of != value_kind::text) return;
    const auto &text = value.get_ref<const std::string &>();
    if (!is_whole_number(text)) return;
    if (property.whole_texts++ == 0) property.least_digits = text.size();
    property.least_digits = std::min(property.least_digits, text.size());
    property.most_digits = std::max(property.most_digits, text.size());
  }

  void take_record(const std::string &written, const json &given) {
    const uri_handle uri(zu_do_uri_new(written.c_str()));
    if (uri == nullptr) return;
    path_data &path = data_.paths[path_of(zu_do_uri_get_uri_str(uri.get()))];
    const auto record_line = [&] { return lines_.line_of(written); };
    const auto keys = keys_of(zu_do_uri_get_segment_last(uri.get()));
    std::vector<std::string> names;
    for (const key &each : keys) {
      names.push_back(each.name);
      property_data &property = path.properties[each.name];
      if (given.contains(each.name)) continue;
      take_value(property, value_kind::text, each.value, written, record_line);
      ++property.key_texts;
    }
    if (path.records++ == 0) {
      path.first_record = written;
      path.number = record_line();
      path.keys = names;
    } else if (names != path.keys) {
      add(path.other_keys, written, record_line);
    }
    for (const auto &[name, value] : given.items()) {
      property_data &property = path.properties[name];
      const bool is_key = std::find(names.begin(), names.end(), name) != names.end();
      property.given = property.given || (!is_key && !name.starts_with('_'));
      property.hidden = property.hidden || (value.is_object() && value.contains("PasswordString"));
      if (const auto of = kind_of(value)) {
        take_value(property, *of, bare(value), written,
                   [&, &name = name] { return lines_.line_of_property(written, name); });
      }
    }
    take_place(written, uri.get(), path);
  }

  void take_place(const std::string &written, zu_do_uri *uri, path_data &path) {
    if (zu_do_uri_is_absolute(uri)) {
      for (const key &each : keys_of(zu_do_uri_get_segment(uri, 0))) data_.location_keys.insert(each.name);
    }
    records_.insert(relative(zu_do_uri_get_uri_str(uri)));
    const size_t above_location = zu_do_uri_is_absolute(uri) ? 2 : 1;
    zu_do_uri *parent = zu_do_uri_get_parent_uri(uri);
    if (parent == nullptr || zu_do_uri_get_segment_count(uri) <= above_location) return;
    if (zu_do_uri_segment_get_keys(zu_do_uri_get_segment_last(parent)) == nullptr) return;
    below_.push_back({written, relative(zu_do_uri_get_uri_str(parent)), &path});
  }

  void find_orphans() {
    for (const nested &record : below_) {
      const auto above = data_.paths.find(path_of(record.parent));
      const bool has_others = above != data_.paths.end() && above->second.records != 0;
      if (!has_others || records_.contains(record.parent)) continue;
      if (record.path->without_above.count == 0) record.path->above = record.parent;
      add(record.path->without_above, record.written, [&] { return lines_.line_of(record.written); });
    }
  }

  struct nested { // a record below another one that has keys
    std::string written;
    std::string parent;
    path_data *path;
  };

  data_set &data_;
  const std::string &text_;
  line_finder lines_;
  std::unordered_set<std::string> records_; // relative URIs, since a record may be in any location
  std::vector<nested> below_;
};

} // namespace

const char *name_of(value_kind of) {
  static constexpr const char *names[kind_count] = {"number", "boolean", "text", "array"};
  return names[static_cast<size_t>(of)];
}

const char *words_of(value_kind of) {
  static constexpr const char *words[kind_count] = {"a number", "true or false", "a text", "an array"};
  return words[static_cast<size_t>(of)];
}

const json &bare(const json &value) {
  const json *at = &value;
  while (at->is_object() && at->size() == 1) at = &*at->begin();
  return *at;
}

std::optional<value_kind> kind_of(const json &given) {
  const json &value = bare(given);
  if (value.is_number()) return value_kind::number;
  if (value.is_boolean()) return value_kind::boolean;
  if (value.is_string()) return value_kind::text;
  if (value.is_array()) return value_kind::array;
  return std::nullopt;
}

std::string some_records::others() const {
  if (count < 2) return "";
  return " and " + std::to_string(count - 1) + (count == 2 ? " more record" : " more records");
}

std::optional<value_kind> property_data::said_kind() const {
  for (size_t i = 0; i < kind_count && said.is_object(); ++i) {
    if (said.value("kind", "") == name_of(static_cast<value_kind>(i))) return static_cast<value_kind>(i);
  }
  return std::nullopt;
}

void property_data::add(const property_data &other) {
  for (size_t i = 0; i < kind_count; ++i) seen[i].count += other.seen[i].count;
  key_texts += other.key_texts;
  whole_texts += other.whole_texts;
}

bool property_data::is_secret() const {
  return hidden || (said.is_object() && said.value("type", "") == "PasswordString");
}

bool property_data::may_be(value_kind kind) const {
  if (const auto only = said_kind()) return *only == kind;
  return of(kind).count != 0 || (said.contains("default") && kind_of(said["default"]) == kind);
}

bool property_data::is_known() const {
  for (size_t i = 0; i < kind_count; ++i) {
    if (may_be(static_cast<value_kind>(i))) return true;
  }
  return false;
}

std::string property_data::kinds_in_words() const {
  std::string words;
  for (size_t i = 0; i < kind_count; ++i) {
    const auto kind = static_cast<value_kind>(i);
    if (may_be(kind)) words += (words.empty() ? "" : " or ") + std::string(words_of(kind));
  }
  return words;
}

bool property_data::is_number_in_text(size_t digits) const {
  const size_t texts = of(value_kind::text).count;
  const bool differ = least_digits != most_digits || (digits != 0 && digits != most_digits);
  return differ && !said_kind() && texts != 0 && whole_texts == texts && !may_be(value_kind::number);
}

std::set<std::string> path_data::names() const {
  std::set<std::string> all;
  for (const auto &[name, about] : properties) all.insert(name);
  return all;
}

const path_data *data_set::find(const std::string &path) const {
  const auto found = paths.find(path);
  return found != paths.end() ? &found->second : nullptr;
}

const property_data *data_set::find(const std::string &path, const std::string &name) const {
  const path_data *about = find(path);
  if (about == nullptr) return nullptr;
  const auto found = about->properties.find(name.substr(name.rfind(':') + 1));
  return found != about->properties.end() ? &found->second : nullptr;
}

std::optional<data_set> read_data(const std::string &file, const std::vector<std::string> &classes) {
  const auto texts = read_good_data(file, classes);
  if (!texts) return std::nullopt;
  const bool has_modules = !yang().names.empty();
  const std::string name = file.empty() && has_modules ? "YANG modules" : data_name(file);
  data_set data{name, {}, {"loc"}, !classes.empty() || has_modules, has_modules};
  for (const std::string &text : *texts) reader(data, text).read();
  return data;
}

} // namespace tovra::check
