// `tovra get`: the records that a URI names, one JSON object per line.
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands.hpp"
#include "data_file.hpp"
#include "output.hpp"
#include "value_json.hpp"
#include "zuapi/zuapi.h"

namespace tovra {

namespace {

using nlohmann::ordered_json;

bool show(output &out, zu_do_ntlist *columns, zu_do_vlist *row) {
  ordered_json record = ordered_json::object();
  auto &members = record.get_ref<ordered_json::object_t &>();
  for (size_t i = 0; i < zu_do_ntlist_get_len(columns); ++i) {
    zu_do_value *value = zu_do_vlist_get_value(row, i);
    if (zu_do_value_get_type(value) == ZU_DO_TYPE_NONE) continue; // only what the record itself has
    // The names of columns are unique, so members are added without a search: that would cost the square of a
    // record's width.
    members.emplace_back(zu_do_name_get_unqualified(zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, i))),
                         value_json(value));
  }
  return out.write(json_text(record));
}

// Reads all instances into the table; returns 0 or the store's error code.
int read_all(zu_data_ifc *data, zu_do_uri *uri, zu_do_vtable *table) {
  zu_coll_ifc *collections = nullptr;
  if (const int rc = data->ops->get_coll_ifc(data, &collections); rc != 0) return rc;
  zu_do_nlist *all_fields = zu_do_nlist_new();
  zu_cursor *cursor = nullptr;
  int rc = collections->ops->open_cursor(collections, uri, all_fields, nullptr, nullptr, 0, &cursor);
  if (rc == 0) {
    rc = cursor->ops->fetch(cursor, 0, table);
    if (rc == 1) rc = 0;
    cursor->ops->free(cursor);
  }
  zu_do_nlist_deref(all_fields);
  collections->ops->free(collections);
  return rc;
}

int show_all(zu_data_ifc *data, zu_do_uri *uri, output &out) {
  const std::unique_ptr<zu_do_vtable, decltype(&zu_do_vtable_deref)> table(zu_do_vtable_new(),
                                                                           zu_do_vtable_deref);
  if (const int rc = read_all(data, uri, table.get()); rc != 0) {
    say("error " + std::to_string(rc) + ": the URI cannot be read");
    say_fault(data);
    return failed;
  }
  zu_do_ntlist *columns = zu_do_vtable_get_ntlist(table.get());
  for (size_t i = 0; i < zu_do_vtable_get_len(table.get()); ++i) {
    if (!show(out, columns, zu_do_vtable_get(table.get(), i))) return failed;
  }
  return out.flush() ? done : failed;
}

// Lists each path of the data with the number of its records.
int show_paths(zu_data_ifc *data, output &out) {
  std::map<std::string, size_t> counts;
  const auto take = [](void *into, const char *path, size_t length, zu_do_vtable *records) {
    (*static_cast<std::map<std::string, size_t> *>(into))[{path, length}] = zu_do_vtable_get_len(records);
  };
  if (const int code = zu_store_each_path(data, take, &counts); code != ZU_OK) {
    say("error " + std::to_string(code) + ": the paths cannot be read");
    say_fault(data);
    return failed;
  }
  for (const auto &[path, count] : counts) {
    if (!out.write(visible(path) + " " + std::to_string(count) + "\n")) return failed;
  }
  return out.flush() ? done : failed;
}

int show_one_state(const options &asked, const std::function<int(zu_data_ifc *data, output &out)> &show) {
  std::vector<loaded_data> all;
  if (!all.emplace_back(loaded_data{asked.data, asked.classes, nullptr}).load()) return failed;
  output out;
  return in_one_state(all, &out, [&] { return show(all[0].data.get(), out); });
}

} // namespace

int get(const options &asked) {
  if (asked.uri.empty()) return show_one_state(asked, show_paths);
  const char *reason = nullptr;
  zu_do_uri *uri = zu_do_uri_parse(asked.uri.data(), asked.uri.size(), &reason);
  if (uri == nullptr) {
    say("tovra: " + asked.uri + " is not a URI: " + (reason != nullptr ? reason : "out of memory"));
    say("Run with --help for more information.");
    return wrong_usage;
  }
  const int status =
      show_one_state(asked, [uri](zu_data_ifc *data, output &out) { return show_all(data, uri, out); });
  zu_do_uri_deref(uri);
  return status;
}

} // namespace tovra
