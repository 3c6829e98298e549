// Which rows of a snapshot answer a request: what a collection URI names.
#include "store/answer.hpp"

#include "store/path.hpp"

namespace store {

namespace {

// Room for a text that is rarely long.
class scratch_text {
public:
  explicit scratch_text(size_t size)
      : text_(size <= sizeof short_ ? short_ : static_cast<char *>(qmalloc_named(ZU_DO_AREA, size))) {}
  ~scratch_text() {
    if (text_ != short_) qfree_named(text_);
  }
  scratch_text(const scratch_text &) = delete;
  scratch_text &operator=(const scratch_text &) = delete;

  char *data() { return text_; } // none when memory is exhausted

private:
  char short_[256];
  char *text_;
};

// A path, in a URI: without query, split at the location.
struct path_part {
  bool absolute;
  std::string_view location; // "/name;key=value", or empty
  std::string_view below;    // "/...", or empty

  explicit path_part(const zu_do_uri *uri) : absolute(uri->is_absolute()) {
    const std::string_view text = uri->path();
    if (!absolute) {
      below = text;
      return;
    }
    const location_split split = split_location(text);
    location = split.location;
    below = split.rest;
  }
};

// Whether the URI gives every key of the path's records: then it is a record's own text, or none's.
bool gives_all_keys(const snapshot &data, const path_entry &path, const path_part &asked) {
  const path_part sample(zuapi::row_uri(path.records.rows[0]));
  if (!path.same_keys || !same_key_names(asked.below, sample.below)) return false;
  if (!asked.absolute) return true;
  if (!path.same_locations || path.first_located == no_id) return false;
  return same_key_names(asked.location, path_part(data.uri_of(path.first_located)).location);
}

// The records of the path that a URI without a query, or with one of type 2, gives in full.
int look_up(const snapshot &data, zu_do_uri *uri, answer &found) {
  if (zu_do_uri_get_coll_type(uri) != 0) uri = zu_do_uri_get_parent_uri(uri);
  if (uri == nullptr) return ZU_EXHAUSTED;
  if (!uri->is_absolute()) {
    bool good = true;
    data.find_all_relative(uri, [&](uint32_t id) { good = good && found.add(data.records[id]); });
    return good ? ZU_OK : ZU_EXHAUSTED;
  }
  const uint32_t id = data.find(uri);
  return id == no_id || found.add(data.records[id]) ? ZU_OK : ZU_EXHAUSTED;
}

int scan(const path_entry &path, const path_part &asked, answer &found) {
  for (uint32_t i = 0; i < path.records.count; ++i) {
    zu_do_vlist *row = path.records.rows[i];
    const path_part stored(zuapi::row_uri(row));
    const bool located = !asked.absolute || (stored.absolute && keys_match(asked.location, stored.location));
    if (located && keys_match(asked.below, stored.below) && !found.add(row)) return ZU_EXHAUSTED;
  }
  return ZU_OK;
}

int keep_query(zu_do_uri *uri, answer &found) {
  const std::string_view query = uri->query();
  const size_t split = query.find('=');
  const std::string_view encoded = query.substr(split + 1);
  scratch_text text(encoded.size());
  if (text.data() == nullptr) return ZU_EXHAUSTED;
  const size_t length = zuapi::uri_decode_value(encoded, text.data());
  return keep_rows_with(query.substr(0, split), {text.data(), length}, found);
}

} // namespace

bool answer::add(zu_do_vlist *row) {
  if (rows_.count == capacity_) {
    const uint32_t capacity = capacity_ == 0 ? 4 : capacity_ * 2;
    void *grown = qrealloc_named(ZU_DO_AREA, own_, capacity * sizeof(zu_do_vlist *));
    if (grown == nullptr) return false;
    own_ = static_cast<zu_do_vlist **>(grown);
    rows_.rows = own_;
    capacity_ = capacity;
  }
  own_[rows_.count++] = row;
  return true;
}

zu_do_vlist **answer::make_own() {
  if (own_ != nullptr || rows_.count == 0) return own_;
  own_ = static_cast<zu_do_vlist **>(qmalloc_named(ZU_DO_AREA, rows_.count * sizeof(zu_do_vlist *)));
  if (own_ == nullptr) return nullptr;
  std::memcpy(own_, rows_.rows, rows_.count * sizeof(zu_do_vlist *));
  rows_.rows = own_;
  capacity_ = rows_.count;
  return own_;
}

int select_rows(const snapshot &data, zu_do_uri *uri, answer &found) {
  if (zu_do_uri_get_coll_type(uri) == 1) {
    const collection_entry *collection = data.find_collection(uri);
    if (collection == nullptr) return ZU_OK;
    zuapi::shape *form = collection->path == no_id ? nullptr : data.paths[collection->path].form;
    found = answer::of_run(collection->records, form);
    return ZU_OK;
  }
  scratch_text text(uri->view().size());
  if (text.data() == nullptr) return ZU_EXHAUSTED;
  const size_t length = path_of(uri->path(), uri->is_absolute(), text.data());
  const path_entry *path = data.find_path({text.data(), length});
  if (path == nullptr) return ZU_OK;
  found = answer::picked(path->form);
  if (path->records.count == 0) return ZU_OK;

  const path_part asked(uri);
  int code = ZU_OK;
  if (gives_all_keys(data, *path, asked)) {
    code = look_up(data, uri, found);
  } else if (!asked.absolute && asked.below.find(';') == asked.below.npos) {
    found = answer::of_run(path->records, path->form);
  } else {
    code = scan(*path, asked, found);
  }
  return code == ZU_OK && zu_do_uri_get_coll_type(uri) == 2 ? keep_query(uri, found) : code;
}

} // namespace store
