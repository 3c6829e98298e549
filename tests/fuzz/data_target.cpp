// Data files: what is refused names its place; what is accepted answers its own records.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "stage.hpp"

namespace {

using nlohmann::json;

// "data:LINE:COLUMN: MESSAGE", with a place in the text or just behind it.
void check_place(const std::string &message, std::string_view text) {
  unsigned line = 0, column = 0;
  int words = 0;
  std::sscanf(message.c_str(), "data:%u:%u: %n", &line, &column, &words);
  fuzz::check(words > 0 && static_cast<size_t>(words) < message.size(), "a refusal has a place", message);
  const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
  fuzz::check(line >= 1 && line <= lines && column >= 1 && column <= text.size() + 1, "it is in the text",
              message);
}

// A store's answers to one URI.
class reader {
public:
  explicit reader(zu_data_ifc *data) {
    data->ops->get_crudx_ifc(data, &single_);
    data->ops->get_coll_ifc(data, &many_);
  }
  ~reader() {
    single_->ops->free(single_);
    many_->ops->free(many_);
  }
  reader(const reader &) = delete;
  reader &operator=(const reader &) = delete;

  fuzz::own_record get(zu_do_uri *uri) {
    fuzz::own_record record(zu_do_properties_new());
    const int code = single_->ops->get(single_, uri, nullptr, 0, record.get());
    fuzz::check(code == 0, "a record is found", zu_do_uri_get_uri_str(uri));
    return record;
  }

  // How often a URI is among the rows of a list, read two at a time.
  int count(zu_do_uri *list, zu_do_uri *wanted) {
    const fuzz::own<zu_do_nlist, zu_do_nlist_deref> all(zu_do_nlist_new());
    const fuzz::own<zu_do_vtable, zu_do_vtable_deref> table(zu_do_vtable_new());
    zu_cursor *cursor = nullptr;
    const int opened = many_->ops->open_cursor(many_, list, all.get(), nullptr, nullptr, 0, &cursor);
    fuzz::check(opened == 0, "a list is opened", zu_do_uri_get_uri_str(list));
    while (cursor->ops->fetch(cursor, 2, table.get()) == 0) {
    }
    cursor->ops->free(cursor);
    int found = 0;
    for (size_t i = 0; i < zu_do_vtable_get_len(table.get()); ++i) {
      const fuzz::own_record row(zu_do_get_shortcuts()->new_from_row(
          nullptr, zu_do_vtable_get_ntlist(table.get()), zu_do_vtable_get(table.get(), i)));
      zu_do_uri *uri = zu_do_properties_get_mr_uri(row.get(), ZU_DO_NAME_URI, nullptr);
      found += zu_do_uri_equals(uri, wanted) ? 1 : 0;
    }
    return found;
  }

private:
  zu_crudx_ifc *single_ = nullptr;
  zu_coll_ifc *many_ = nullptr;
};

void check_record(reader &store, const std::string &uri_text, const json &given) {
  const fuzz::own_uri uri(zu_do_uri_new(uri_text.c_str()));
  fuzz::check(uri != nullptr, "a record has a URI", uri_text);
  const fuzz::own_record record = store.get(uri.get());
  for (const auto &[name, content] : given.items()) {
    if (name.front() <= ' ' || name.back() <= ' ') continue; // blanks at its ends are no part of a name
    const std::string text = content.dump();
    const fuzz::own_value value(zu_do_value_from_json(text.data(), text.size(), nullptr));
    zu_do_value *held = zu_do_properties_get_value(record.get(), name.c_str());
    fuzz::check(held != nullptr, "a property is there", uri_text + " " + name);
    if (content.is_array() || content.is_object()) continue; // elements without value are left out of them
    fuzz::check(zu_do_value_equals(value.get(), held), "it has its value",
                uri_text + " " + name + " " + text);
  }
  zu_do_uri *parent = zu_do_uri_get_parent_uri(uri.get());
  if (parent == nullptr || !zu_do_properties_get_len(record.get())) return;
  const char *name = zu_do_uri_segment_get_name(zu_do_uri_get_segment_last(uri.get()));
  const fuzz::own_uri list(zu_do_uri_new_coll(parent, name));
  fuzz::check(store.count(list.get(), uri.get()) == 1, "it is once in the list it is in", uri_text);
  fuzz::check(store.count(uri.get(), uri.get()) == 1, "its own URI is a list of it", uri_text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  zu_do_error *error = nullptr;
  const fuzz::own_data store(zu_store_load_text("data", text.data(), text.size(), &error));
  const fuzz::own_error held(error);
  fuzz::check(!store == (error != nullptr), "one answer");
  if (!store) {
    check_place(zu_do_error_get_msg(error), text);
    return 0;
  }
  const json parsed = json::parse(text, nullptr, false);
  fuzz::check(!parsed.is_discarded(), "what is accepted is JSON");
  reader read(store.get());
  size_t left = 16;
  for (const auto &[uri, properties] : parsed.at("records").items()) {
    if (left-- == 0) break;
    check_record(read, uri, properties);
  }
  return 0;
}
