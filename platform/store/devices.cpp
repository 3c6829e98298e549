// Data files and databases of devices: opening, importing, exporting.
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "infra/text.hpp"
#include "redis/open.hpp"
#include "sqlite/open.hpp"
#include "store/devices.hpp"
#include "store/interfaces.hpp"
#include "store/loader.hpp"
#include "store/path.hpp"

namespace store {

namespace {

using nlohmann::ordered_json;

constexpr size_t names_told = 5;

struct source_name {
  std::unique_ptr<device_database> in; // null: the name of a data file
  std::string device;                  // empty: none is named
};

// Reads "sqlite:FILE?device=NAME", and names of servers.
source_name read_name(std::string_view text) {
  if (zu_redis::is_place(text)) {
    zu_redis::place where = zu_redis::read_place(text);
    std::string device = std::move(where.device);
    return {zu_redis::database_at(std::move(where)), std::move(device)};
  }
  constexpr std::string_view prefix = "sqlite:", option = "?device=";
  if (!text.starts_with(prefix)) return {};
  text.remove_prefix(prefix.size());
  const size_t split = text.rfind(option);
  const std::string_view file = text.substr(0, split);
  if (file.empty()) throw source_failure{ZU_FAILED, "it names no file"};
  if (file.find(option) != file.npos) throw source_failure{ZU_FAILED, "it names two devices"};
  return {zu_sqlite::database_in(std::string(file)),
          split == text.npos ? "" : std::string(text.substr(split + option.size()))};
}

source_name name_of_database(const char *text) {
  source_name read = read_name(text);
  if (read.in == nullptr)
    throw source_failure{ZU_FAILED, "not a name sqlite:FILE?device=NAME or redis://HOST?device=NAME"};
  return read;
}

std::string json_of(std::string_view name) {
  return ordered_json(name).dump();
}

// Calls `take` with the members of both sections of a data
// file's text, in their order. The text is known to load.
template <class Take>
void for_each_member(std::string_view text, Take &&take) {
  std::string section;
  std::string name;
  const auto seen = [&](int depth, ordered_json::parse_event_t event, ordered_json &parsed) {
    if (event == ordered_json::parse_event_t::key && depth <= 2) (depth == 1 ? section : name) = parsed;
    if (event != ordered_json::parse_event_t::object_end || depth != 2) return true;
    take(section == "classes", name, parsed);
    return false; // it is not kept
  };
  [[maybe_unused]] const auto emptied = ordered_json::parse(text, seen);
}

// The members of an object, as the text between its braces.
std::string members_of(const ordered_json &object) {
  const std::string text = object.dump();
  return text.substr(1, text.size() - 2);
}

// The facts about a data file's paths that its snapshot does not have.
class paths_of {
public:
  explicit paths_of(const snapshot &data) : data_(data), made_(data.paths.size()) {
    for (size_t i = 0; i < made_.size(); ++i) {
      by_text_.emplace(data.paths[i].text, i);
      made_[i].known.path = data.paths[i].text;
      note_keys(i);
    }
  }

  size_t find(std::string_view path) const { return by_text_.find(path)->second; }
  void take_class(const std::string &name, const ordered_json &declared) {
    infra::arena memory;
    const char *reason = nullptr;
    zu_do_uri *uri = zuapi::uri_frozen_of(name, memory, &reason);
    about &path = made_[find(uri->view())];
    zuapi::uri_drop(uri);
    path.known.facts.declared = members_of(declared);
    for (const auto &[property, declaration] : declared.items()) path.named.emplace(infra::trimmed(property));
  }
  // Called when all classes have been taken.
  given_path facts(size_t i) const {
    given_path made = made_[i].known;
    zu_do_ntlist *columns = zuapi::shape_columns(data_.paths[i].form);
    for (size_t slot = 1; slot < zu_do_ntlist_get_len(columns); ++slot) { // but for `_uri`
      const std::string name =
          zu_do_name_get_unqualified(zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, slot)));
      if (made_[i].named.contains(name)) continue;
      made.facts.others += (made.facts.others.empty() ? "" : ",") + json_of(name) + ":{}";
    }
    return made;
  }

private:
  struct about {
    given_path known;
    std::set<std::string> named; // keys, and what the class declares
  };

  void note_keys(size_t i) {
    const run &records = data_.paths[i].records;
    about &path = made_[i];
    std::set<std::string> patterns;
    for (uint32_t k = 0; k < records.count; ++k) {
      const zu_do_uri *uri = zuapi::row_uri(records.rows[k]);
      std::string pattern;
      zuapi::uri_pattern::write_text(uri_halves(uri->view(), uri->is_absolute()).relative, pattern);
      if (!patterns.insert(pattern).second) continue;
      auto at = static_cast<uint32_t>(std::min(pattern.find(';', pattern.rfind('/')), pattern.size()));
      for (zuapi::uri_key key; zuapi::uri_next_key(pattern, at, key);) {
        if (path.named.emplace(key.name).second) path.known.facts.keys.append(key.name).append(";");
      }
    }
    if (patterns.size() == 1) path.known.facts.pattern = *patterns.begin();
  }

  const snapshot &data_;
  std::vector<about> made_;
  std::map<std::string_view, size_t> by_text_;
};

// The text is a data file in JSON. Throws zu_json::refusal, source_failure or std::bad_alloc.
void import(std::string_view text, const source_name &to) {
  snapshot data;
  infra::string copy(text);
  load_json(copy, data);
  paths_of paths(data);
  std::vector<std::string> records; // their properties, in the order of the snapshot's records
  records.reserve(data.records.size());
  for_each_member(text, [&](bool is_class, const std::string &name, const ordered_json &parsed) {
    if (is_class) {
      paths.take_class(name, parsed);
    } else {
      records.push_back(parsed.dump());
    }
  });
  const auto writer = to.in->write(to.device);
  for (size_t i = 0; i < data.paths.size(); ++i) writer->add(paths.facts(i));
  for (uint32_t id = 0; id < records.size(); ++id) {
    const std::string_view uri = data.uri_of(id)->view();
    const bool absolute = data.uri_of(id)->is_absolute();
    writer->add({paths.find(path_text(uri, absolute)), uri, absolute, std::move(records[id])});
  }
  writer->finish();
}

void check_uri(std::string_view uri) {
  infra::arena memory;
  const char *reason = nullptr;
  zu_do_uri *read = zuapi::uri_frozen_of(uri, memory, &reason);
  const std::string canonical(read != nullptr ? read->view() : uri);
  if (read != nullptr) zuapi::uri_drop(read);
  check_spelling(uri, canonical);
}

std::string export_text(source &from) {
  std::string text = "{\n  \"classes\": {";
  const char *comma = "\n";
  for (const std::string &path : from.paths()) {
    const path_facts *known = from.facts(path);
    if (known->declared.empty()) continue;
    text += comma + ("    " + json_of(path)) + ": {" + known->declared + "}";
    comma = ",\n";
  }
  text += "\n  },\n  \"records\": {";
  comma = "\n";
  from.read_all([&](std::string_view uri, std::string_view properties) {
    check_uri(uri);
    text += comma + ("    " + json_of(uri)) + ": " + std::string(properties);
    comma = ",\n";
  });
  return text + "\n  }\n}\n";
}

// Runs a step of a database; its failures name the database.
template <class Step>
bool done(const char *name, zu_do_error **error, Step &&step) noexcept {
  return reported(error, [&] {
    try {
      step();
    } catch (const source_failure &failure) {
      throw source_failure{failure.code, zu_redis::without_password(name) + ": " + failure.message};
    } catch (const zu_json::refusal &refused) {
      throw source_failure{ZU_FAILED, zu_redis::without_password(name) + ": " + refused.message};
    }
  });
}

} // namespace

const std::string &only_device(const std::vector<std::string> &names, const std::string &asked) {
  if (asked.empty() && names.size() == 1) return names.front();
  if (names.empty()) throw source_failure{ZU_FAILED, "it has no device"};
  std::string told = asked.empty() ? "?device=NAME must say which: " : "no device is '" + asked + "', but: ";
  for (size_t i = 0; i < std::min(names.size(), names_told); ++i)
    told.append(i == 0 ? "" : ", ").append(names[i]);
  throw source_failure{ZU_FAILED, told + (names.size() > names_told ? ", ..." : "")};
}

} // namespace store

bool zu_store_has(const char *kind) {
  constexpr std::string_view all = STORE_BUILT_IN; // each between blanks
  const std::string_view asked = kind;
  const size_t at = all.find(asked);
  return at != all.npos && at > 0 && all[at - 1] == ' ' && all.substr(at + asked.size()).starts_with(' ');
}

zu_data_ifc *zu_store_open(const char *name, zu_do_error **error) {
  zu_data_ifc *opened = nullptr;
  const bool whole = store::done(name != nullptr ? name : "", error, [&] {
    const store::source_name asked = store::read_name(name != nullptr ? name : "");
    if (asked.in == nullptr) return;
    auto rest = std::make_unique<store::on_demand>(asked.in->open(asked.device), name);
    store::data_object *made = store::data_object_new();
    made->rest = std::move(rest);
    opened = &made->ifc;
  });
  return whole && opened == nullptr ? zu_store_load_file(name, error) : opened;
}

bool zu_store_import(const char *json, size_t length, const char *target, zu_do_error **error) {
  return store::done(target, error, [&] {
    const store::source_name to = store::name_of_database(target);
    if (to.device.empty())
      throw store::source_failure{ZU_FAILED, "?device=NAME must say which device it becomes"};
    store::import({json, length}, to);
  });
}

char *zu_store_export(const char *name, zu_do_error **error) {
  char *made = nullptr;
  store::done(name, error, [&] {
    const store::source_name asked = store::name_of_database(name);
    for (int tries = 1; made == nullptr; ++tries) {
      try {
        made = store::new_text(store::export_text(*asked.in->open(asked.device)));
      } catch (const store::source_failure &failure) {
        if (!failure.moved || tries == ZU_STORE_TRIES) throw;
      }
    }
  });
  return made;
}

bool zu_store_each_device(const char *name, zu_store_device_fn tell, void *context, zu_do_error **error) {
  return store::done(name, error, [&] {
    for (const std::string &device : store::name_of_database(name).in->devices())
      tell(context, device.c_str());
  });
}

bool zu_store_may_move(zu_data_ifc *data) {
  store::on_demand *rest = store::source_behind(data);
  return rest != nullptr && rest->may_move();
}

bool zu_store_moved(zu_data_ifc *data) {
  store::on_demand *rest = store::source_behind(data);
  return rest != nullptr && rest->moved();
}

char *zu_store_fault(zu_data_ifc *data) {
  store::on_demand *rest = store::source_behind(data);
  if (rest == nullptr) return nullptr;
  char *made = nullptr;
  store::reported(nullptr, [&] {
    const std::string words = rest->fault();
    if (!words.empty()) made = store::new_text(words);
  });
  return made;
}
