// Reads URI templates. Each is followed from its outermost segment inwards, as the library resolves it.
#include "uri_text.hpp"

#include <algorithm>

#include "source.hpp"
#include "zu_tovra/internal/uri_program.hpp"

namespace tovra::check {

namespace {

constexpr std::string_view separators = "$!#";

std::optional<std::string> canonical(const std::string &text) {
  zu_do_uri *uri = zu_do_uri_new_l(text.data(), text.size());
  if (uri == nullptr) return std::nullopt;
  std::string made = zu_do_uri_get_uri_str(uri);
  zu_do_uri_deref(uri);
  return made;
}

// The separator at which the library begins: it searches from the end, and the first character never counts.
size_t last_separator(std::string_view uri) {
  const size_t at = uri.find_last_of(separators);
  return at == 0 ? uri.npos : at;
}

// Follows a template as the library does, with `any_value` for every key, and collects the keys that are
// looked up.
class any_source {
public:
  explicit any_source(bool relative) : relative_(relative) {}

  int32_t take(const tvr::uri_step &step, tvr::text_buffer &out) {
    const auto wanted = tvr::look_up_of(step, out.view(), relative_);
    key_look_up &key = keys.emplace_back();
    key.separator = separators[std::min<size_t>(step.where, 2)];
    key.segment = step.look_up.substr(1);
    key.key = zu_do_name_get_strname(step.key);
    if (wanted.possible) key.wanted = canonical(std::string(wanted.from).append(step.look_up));
    out.add(step.head);
    out.add(any_value);
    return 0;
  }

  std::vector<key_look_up> keys;

private:
  bool relative_;
};

struct followed {
  std::optional<pattern> uri;
  std::vector<key_look_up> keys;
};

followed follow(const zu_tvr_uri &uri) {
  tvr::text_buffer out;
  any_source source(uri.relative != 0);
  uint32_t at = 0;
  tvr::run_uri_program(*uri.program, at, uri.program->step_count, out, source);
  return {canonical(std::string(out.view())), std::move(source.keys)};
}

size_t end_of_value(std::string_view text, size_t at) {
  return std::min(text.find_first_of("/;?", at), text.size());
}

} // namespace

std::string first_word(std::string_view text) {
  const std::string whole = trimmed(text);
  return whole.substr(0, whole.find_first_of(" \t\n\v\f\r"));
}

std::string why_refused(std::string_view uri) {
  const size_t separator = last_separator(uri);
  if (separator == uri.npos) {
    const char *reason = nullptr;
    zu_do_uri *parsed = zu_do_uri_parse(uri.data(), uri.size(), &reason);
    zu_do_uri_deref(parsed);
    return parsed == nullptr && reason != nullptr ? reason : "";
  }
  const std::string_view before = uri.substr(0, separator);
  const size_t delimiter = before.find_last_of(";/");
  const std::string_view key = delimiter == before.npos ? before : before.substr(delimiter + 1);
  if (key.find_first_of(separators) != key.npos) {
    return "two separators in one key; a segment takes one key from a record: write NAME;KEY=$";
  }
  if (delimiter == before.npos || before[delimiter] == '/') {
    return "the separator follows no ';': write NAME;KEY=" + std::string(1, uri[separator]);
  }
  if (key.empty() || key == "=")
    return "the key has no name: write NAME;KEY=" + std::string(1, uri[separator]);
  if (!key.ends_with('=')) return "no '=' stands before the separator: write NAME;KEY=$";
  if (delimiter == 0 || before[delimiter - 1] == '/') return "the key stands in a segment without a name";
  return why_refused(before.substr(0, before.find_last_of('/')));
}

std::optional<pattern> pattern_of(const zu_tvr_uri &uri) {
  return follow(uri).uri;
}

std::optional<std::vector<key_look_up>> look_ups_of(const zu_tvr_uri &uri) {
  followed found = follow(uri);
  if (!found.uri) return std::nullopt;
  return std::move(found.keys);
}

bool can_match(std::string_view record_uri, std::string_view looked_up) {
  size_t r = 0;
  size_t l = 0;
  while (l < looked_up.size()) {
    if (record_uri.substr(r).starts_with(any_value) || looked_up.substr(l).starts_with(any_value)) {
      r = end_of_value(record_uri, r);
      l = end_of_value(looked_up, l);
    } else if (r < record_uri.size() && record_uri[r] == looked_up[l]) {
      ++r;
      ++l;
    } else {
      return false;
    }
  }
  return r == record_uri.size() || record_uri[r] == '?';
}

std::string path_of(const pattern &uri) {
  const bool absolute = uri.starts_with("//");
  std::string path;
  std::string_view rest = std::string_view(uri).substr(absolute ? 2 : 1);
  const size_t query = rest.find('?');
  std::string_view name = query == rest.npos ? std::string_view() : rest.substr(query + 1);
  if (name.find('=') != name.npos) name = {}; // a query: records of the path itself
  rest = rest.substr(0, query);
  bool first = true;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('/'), rest.size());
    const std::string_view segment = rest.substr(0, end);
    if (!(absolute && first)) path += "/" + std::string(segment.substr(0, segment.find(';')));
    first = false;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  const bool at_location = absolute && path.empty();
  if (!name.empty()) return (at_location && first ? "//" : path + "/") + std::string(name);
  if (at_location && !first) return "//" + uri.substr(2, uri.find_first_of(";?", 2) - 2);
  return path;
}

bool is_keyed_below_first(const pattern &uri) {
  zu_do_uri *relative = zu_do_uri_new_relative(uri.c_str());
  bool keyed = false;
  for (size_t at = 1; at < zu_do_uri_get_segment_count(relative); ++at) {
    keyed = keyed || zu_do_uri_segment_get_keys(zu_do_uri_get_segment(relative, at)) != nullptr;
  }
  zu_do_uri_deref(relative);
  return keyed;
}

std::optional<pattern> list_of(const pattern &record_uri) {
  const size_t slash = record_uri.rfind('/');
  if (slash == 0 || record_uri.find('?') != record_uri.npos) return std::nullopt;
  const std::string name = record_uri.substr(slash + 1);
  return canonical(record_uri.substr(0, slash) + "?" + name.substr(0, name.find(';')));
}

} // namespace tovra::check
