// The records of a source, read when a request needs them.
#include "store/on_demand.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "store/loader.hpp"
#include "store/path.hpp"
#include "zuapi/shortcuts.hpp"
#include "zuapi/uri_pattern.hpp"

namespace store {

namespace {

std::string pattern_of(std::string_view relative) {
  std::string pattern;
  zuapi::uri_pattern::write_text(relative, pattern);
  return pattern;
}

// The value in key form that a query has for a property, if it has one.
std::optional<std::string> key_in(zu_do_nvlist *query, std::string_view name) {
  zu_do_iter it = {};
  zu_do_nvlist_iter(query, &it);
  while (zu_do_nvlist_has_next(query, &it)) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(query, &it);
    if (zu_do_nvpair_get_name(pair) != name) continue;
    const infra::owned<zu_do_strbuf, zu_do_strbuf_deref> text(zu_do_strbuf_new());
    if (!text) throw std::bad_alloc();
    if (zu_do_uri_value_to_keystr(zu_do_nvpair_get_value(pair), text.get()) != ZU_OK) return std::nullopt;
    return std::string(zu_do_strbuf_to_string(text.get()), zu_do_strbuf_get_len(text.get()));
  }
  return std::nullopt;
}

// The record that a query names, if it has all keys of one.
std::optional<std::string> record_in(zu_do_nvlist *query, const std::string &parent,
                                     std::string_view pattern) {
  if (query == nullptr || pattern.empty()) return std::nullopt;
  const std::string_view last = pattern.substr(pattern.rfind('/'));
  auto at = static_cast<uint32_t>(std::min(last.find(';'), last.size()));
  std::string record = (parent == "/" ? "" : parent) + std::string(last.substr(0, at));
  bool any = false;
  for (zuapi::uri_key key; zuapi::uri_next_key(last, at, key); any = true) {
    const auto value = key_in(query, key.name);
    if (!value) return std::nullopt;
    record.append(";").append(key.name).append("=").append(*value);
  }
  return any ? std::optional(record) : std::nullopt;
}

// The class of a path as a member of a data file's classes.
void write_class(const std::string &path, const path_facts &known, infra::string &text) {
  if (!text.ends_with('{')) text.append(",");
  text.append(nlohmann::json(path).dump() + ":{" + known.declared);
  if (!known.declared.empty() && !known.others.empty()) text.append(",");
  text.append(known.others + "}");
}

} // namespace

template <class Step>
decltype(auto) on_demand::noting(Step &&step) {
  const std::lock_guard alone(one_at_a_time_);
  try {
    return step();
  } catch (const source_failure &failure) {
    moved_ = moved_ || failure.moved;
    fault_ = name_ + ": " + failure.message;
    throw;
  } catch (...) {
    exhausted_ = true;
    throw;
  }
}

const snapshot &on_demand::part_for(zu_do_uri *uri, need what, zu_do_nvlist *query) {
  return noting([&]() -> const snapshot & { return read(select(uri, what, query)); });
}

void on_demand::each_path(const std::function<void(const path_entry &)> &tell) {
  noting([&] {
    for (const std::string &path : from_->paths()) {
      const path_entry *entry = read({selection::kind::path, {path}, ""}).find_path(path);
      if (entry != nullptr) tell(*entry);
    }
  });
}

std::string on_demand::fault() {
  const std::lock_guard alone(one_at_a_time_);
  return fault_.empty() && exhausted_ ? name_ + ": out of memory" : fault_;
}

bool on_demand::moved() {
  const std::lock_guard alone(one_at_a_time_);
  return moved_;
}

selection on_demand::select(zu_do_uri *uri, need what, zu_do_nvlist *query) {
  using enum selection::kind;
  if (what != need::one_record && zu_do_uri_get_coll_type(uri) == 1)
    return select_collection(uri, what, query);
  const std::string_view text = uri->path();
  const bool absolute = uri->is_absolute();
  const uri_halves halves(text, absolute);
  selection wanted{path, {path_text(text, absolute)}, ""};
  const path_facts *known = from_->facts(wanted.paths[0]);
  const bool all_keys =
      known != nullptr && !known->pattern.empty() && pattern_of(halves.relative) == known->pattern;
  if (what == need::one_record || all_keys) {
    wanted.of = record;
    wanted.text = halves.relative;
  }
  return wanted;
}

selection on_demand::select_collection(zu_do_uri *uri, need what, zu_do_nvlist *query) {
  using enum selection::kind;
  const std::string_view text = uri->path();
  const std::string_view below = uri->is_absolute() ? split_location(text).rest : text;
  const std::string name = "/" + std::string(uri->query());
  selection wanted{parent, {}, std::string(below.empty() ? "/" : below)};
  if (text == "//") { // the locations
    wanted.paths = {"/" + name};
  } else if (wanted.text == "/") { // of a location, or of the root, which has the locations too
    wanted.paths = {name};
    if (text == "/") wanted.paths.push_back("/" + name);
  } else {
    wanted.paths = {path_text(below, false) + name};
  }
  if (what == need::whole_path) return {path, wanted.paths, ""};
  const path_facts *known = from_->facts(wanted.paths[0]);
  if (known == nullptr || text == "/") return wanted;
  if (auto named = record_in(query, wanted.text, known->pattern))
    return {record, wanted.paths, std::move(*named)};
  return wanted;
}

const snapshot &on_demand::read(selection wanted) {
  constexpr uint32_t few = 200;
  std::string all;
  for (const std::string &path : wanted.paths) all += path + "\n";
  if (const auto found = parts_.find(all); found != parts_.end()) return *found->second;
  // After many requests for parts of a path the rest is likely to be needed too, so the whole path is read.
  if (wanted.of != selection::kind::path && ++small_parts_[all] > few)
    wanted = {selection::kind::path, wanted.paths, ""};
  const std::string key =
      wanted.of == selection::kind::path ? all : all + static_cast<char>(wanted.of) + wanted.text;
  if (const auto found = parts_.find(key); found != parts_.end()) return *found->second;

  infra::string text = "{\"classes\":{";
  std::vector<path_keys> keys;
  for (const std::string &path : wanted.paths) {
    const path_facts *known = from_->facts(path);
    if (known == nullptr) continue;
    keys.push_back({path, known->keys});
    write_class(path, *known, text);
  }
  text.append("},\"records\":{");
  std::vector<std::pair<size_t, std::string>> starts; // of the records in the text
  from_->read(wanted, [&](std::string_view uri, std::string_view properties) {
    if (!starts.empty()) text.append(",");
    starts.emplace_back(text.size(), uri);
    text.append(nlohmann::json(uri).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    text.append(":");
    text.append(properties);
  });
  text.append("}}");
  auto made = std::make_unique<snapshot>();
  try {
    load_json(text, *made, keys);
  } catch (const zu_json::refusal &refused) {
    const auto after = std::upper_bound(starts.begin(), starts.end(), refused.offset,
                                        [](size_t offset, const auto &each) { return offset < each.first; });
    const std::string where = after == starts.begin() ? "class " + in_quotes(wanted.paths[0])
                                                      : "record " + in_quotes(std::prev(after)->second);
    throw source_failure{ZU_FAILED, where + ": " + refused.message};
  }
  if (made->records.size() != starts.size()) throw source_failure{ZU_FAILED, "a record holds several"};
  for (uint32_t id = 0; id < starts.size(); ++id) {
    check_spelling(starts[id].second, made->uri_of(id)->view());
  }
  for (const path_entry &path : made->paths) {
    if (path.records.count == 0 || std::ranges::find(wanted.paths, path.text) != wanted.paths.end()) continue;
    throw source_failure{ZU_FAILED, "record " + in_quotes(zuapi::row_uri(path.records.rows[0])->view()) +
                                        " is kept as one of the path " + in_quotes(wanted.paths[0])};
  }
  return *parts_.emplace(key, std::move(made)).first->second;
}

} // namespace store
