// Builds the tables of a snapshot while its records are read.
#include "store/index_builder.hpp"

namespace store {

namespace {

// True for a record in a location; a location record itself is in no location.
bool is_located(const zu_do_uri *uri) {
  return uri->is_absolute() && uri->segment_count > 1;
}

} // namespace

collection_key own_key(const zu_do_uri *uri) {
  return {uri->parent_text(), uri->last_name()};
}

collection_key any_key(const zu_do_uri *uri) {
  collection_key key = own_key(uri);
  if (!uri->is_absolute()) return key;
  const size_t relative = uri->view().size() - uri->relative_text().size();
  const bool located = uri->segment_count > 1 && relative < key.parent.size();
  key.parent = located ? key.parent.substr(relative) : "/";
  return key;
}

std::vector<run> runs_of(snapshot &data, const std::vector<uint32_t> &group_of, size_t groups) {
  struct extent {
    uint32_t first, last, count;
    zu_do_vlist **next; // of the rows of its own
  };
  std::vector<extent> extents(groups);
  for (uint32_t id = 0; id < group_of.size(); ++id) {
    if (group_of[id] == no_id) continue;
    extent &of = extents[group_of[id]];
    if (of.count++ == 0) of.first = id;
    of.last = id;
  }
  std::vector<run> runs;
  runs.reserve(groups);
  bool any_scattered = false;
  for (extent &of : extents) {
    const bool scattered = of.count != 0 && of.last - of.first + 1 != of.count;
    any_scattered = any_scattered || scattered;
    if (scattered) of.next = static_cast<zu_do_vlist **>(data.memory.take(of.count * sizeof(zu_do_vlist *)));
    runs.push_back({scattered ? of.next : data.records.data() + of.first, of.count});
  }
  for (uint32_t id = 0; any_scattered && id < group_of.size(); ++id) {
    if (group_of[id] == no_id) continue;
    extent &of = extents[group_of[id]];
    if (of.next != nullptr) *of.next++ = data.records[id];
  }
  return runs;
}

void collections_builder::prepare(const zu_do_uri *uri, uint32_t path) {
  if (path >= last_of_path_.size()) last_of_path_.resize(path + size_t{1}, no_id);
  const collection_key key = key_of_(uri);
  same_as_last_ = last_of_path_[path] != no_id && is_of(last_of_path_[path], key);
  if (same_as_last_) return;
  hash_ = key.hash();
  table_.by_key.prefetch(hash_);
}

void collections_builder::add(const zu_do_uri *uri, uint32_t id, uint32_t path) {
  uint32_t &last = last_of_path_[path];
  if (!same_as_last_) last = find_or_add(key_of_(uri), id, path);
  collection &found = collections_[last];
  if (found.path != path) found.path = no_id;
  of_record_.resize(id, no_id);
  of_record_.push_back(last);
}

// A collection is compared by its first record.
uint32_t collections_builder::find_or_add(const collection_key &key, uint32_t id, uint32_t path) {
  uint32_t found = table_.by_key.find(hash_, [&](uint32_t i) { return is_of(i, key); });
  if (found != no_id) return found;
  found = static_cast<uint32_t>(collections_.size());
  collections_.push_back({id, path});
  table_.by_key.insert(hash_, found);
  return found;
}

void collections_builder::place(snapshot &data) {
  const std::vector<run> runs = runs_of(data, of_record_, collections_.size());
  table_.entries.reserve(runs.size());
  for (size_t i = 0; i < runs.size(); ++i) table_.entries.push_back({runs[i], collections_[i].path});
}

void index_builder::prepare(const zu_do_uri *uri, uint32_t path) {
  data_.by_text.prefetch(uri->hash);
  if (uri->segment_count == 0) return;
  any_.prepare(uri, path);
  if (uri->is_absolute()) own_.prepare(uri, path);
}

bool index_builder::add(zu_do_uri *uri, uint32_t path) {
  const uint32_t id = count();
  const auto is_same = [&](uint32_t i) { return uris_[i]->view() == uri->view(); };
  if (data_.by_text.find(uri->hash, is_same) != no_id) return false;
  data_.by_text.insert(uri->hash, id);
  uris_.push_back(uri);
  paths_.push_back(path);
  any_absolute_ = any_absolute_ || uri->is_absolute();
  if (uri->segment_count == 0) return true;
  any_.add(uri, id, path);
  if (uri->is_absolute()) own_.add(uri, id, path);
  return true;
}

void index_builder::finish() {
  const std::vector<run> runs = runs_of(data_, paths_, data_.paths.size());
  for (size_t i = 0; i < runs.size(); ++i) data_.paths[i].records = runs[i];
  any_.place(data_);
  own_.place(data_);
  if (any_absolute_) build_relative_texts();
}

void index_builder::build_relative_texts() {
  data_.next_relative.resize(count());
  std::vector<uint32_t> last(count());
  for (uint32_t id = 0; id < count(); ++id) {
    if (!is_located(uris_[id])) continue;
    const std::string_view text = uris_[id]->relative_text();
    const uint32_t hash = infra::hash_text(text.data(), text.size());
    const uint32_t first =
        data_.by_relative_text.find(hash, [&](uint32_t i) { return uris_[i]->relative_text() == text; });
    if (first == no_id) {
      data_.by_relative_text.insert(hash, id);
      last[id] = id;
    } else {
      data_.next_relative[last[first]] = id + 1;
      last[first] = id;
    }
  }
}

} // namespace store
