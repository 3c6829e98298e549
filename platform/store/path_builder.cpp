// The paths of a file while it is read: the properties of each path's records, and their order.
#include "store/path_builder.hpp"

#include <algorithm>

#include "store/path.hpp"
#include "json/reader.hpp"

namespace store {

uint32_t path_builder::find(std::string_view name, uint32_t expected) const {
  constexpr uint32_t look_ahead = 4;
  const auto size = static_cast<uint32_t>(properties_.size());
  for (uint32_t i = expected; i < size && i < expected + look_ahead; ++i) {
    if (properties_[i].name == name) return i;
  }
  const auto found = by_name_.find(name);
  return found == by_name_.end() ? no_id : found->second;
}

uint32_t path_builder::add(std::string_view name, property::place order, uint32_t expected,
                           infra::arena &memory) {
  uint32_t index = find(name, expected);
  if (index == no_id) {
    index = static_cast<uint32_t>(properties_.size());
    const std::string_view kept(memory.copy_text(name), name.size());
    const bool plain = name.find_first_of("\"\\") == std::string_view::npos;
    properties_.push_back({kept, plain, order, ranks_[order]++, 0, nullptr});
    if (name == ZU_DO_NAME_PENDING_ATTRS) {
      properties_.back().said = std::make_unique<declaration>(declaration{.limited = true});
    }
    by_name_.emplace(kept, index);
  } else if (order < properties_[index].order) {
    properties_[index].order = order;
    properties_[index].rank = ranks_[order]++;
  }
  return index;
}

void path_builder::add_pattern(const zuapi::uri_pattern &pattern, uint32_t record) {
  if (!keys_.has_value()) keys_ = pattern.below_location();
  same_keys_ = same_keys_ && *keys_ == pattern.below_location();
  if (!pattern.absolute()) return;
  const std::string_view location = pattern.location().substr(1);
  if (first_located_ == no_id) {
    first_located_ = record;
    location_ = location;
  }
  same_locations_ = same_locations_ && same_key_names(location_, location);
}

void path_builder::finish(snapshot &data) {
  std::vector<property *> sorted;
  for (property &each : properties_) sorted.push_back(&each);
  std::sort(sorted.begin(), sorted.end(), [](const property *a, const property *b) {
    return std::pair(a->order, a->rank) < std::pair(b->order, b->rank);
  });
  std::vector<zu_do_name *> names = {zu_do_name_new(ZU_DO_NAME_URI)}; // which is not counted
  for (property *each : sorted) {
    zu_do_name *name = zu_do_name_new_l(each->name.data(), each->name.size());
    if (name == nullptr) throw std::bad_alloc();
    data.names.push_back(name);
    each->slot = static_cast<uint32_t>(names.size());
    names.push_back(name);
    template_cells_.push_back(each->said != nullptr ? each->said->default_value : zuapi::cell_none());
    if (each->said != nullptr && each->said->has_default()) zuapi::cell_set_default(template_cells_.back());
  }
  const auto width = static_cast<uint32_t>(names.size());
  form_ = zuapi::shape_new(names.data(), width);
  if (form_ == nullptr) throw std::bad_alloc();
  data.shapes.push_back(form_);
}

uint32_t path_list::find_or_add(std::string_view text) {
  const auto found = by_text_.find(text);
  if (found != by_text_.end()) return found->second;
  paths_.push_back(std::make_unique<path_builder>(std::string(text)));
  return by_text_.emplace(paths_.back()->text(), size() - 1).first->second;
}

bool path_list::is_secret(std::string_view path, std::string_view name) const {
  const auto found = by_text_.find(path);
  if (found == by_text_.end()) return false;
  path_builder &of = *paths_[found->second];
  const uint32_t index = of.find(name, 0);
  return index != no_id && zu_json::is_secret_type(of.properties()[index].type());
}

void path_list::finish(snapshot &data) {
  size_t properties = 0;
  for (const auto &path : paths_) properties += path->properties().size();
  data.names.reserve(properties);
  data.shapes.reserve(paths_.size());
  data.paths.reserve(paths_.size());
  for (uint32_t i = 0; i < size(); ++i) {
    path_builder &path = *paths_[i];
    path.finish(data);
    const std::string_view text(data.memory.copy_text(path.text()), path.text().size());
    data.paths.push_back(path.entry(text));
    data.path_by_text.insert(infra::hash_text(text.data(), text.size()), i);
  }
}

} // namespace store
