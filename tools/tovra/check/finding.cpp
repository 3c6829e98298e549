// Puts findings into order, and writes them as text for people and as JSON for editors.
#include "finding.hpp"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <tuple>

#include "../output.hpp"
#include "../value_json.hpp"

namespace tovra::check {

namespace {

const char *name(severity weight) {
  return weight == severity::error ? "error" : "warning";
}

nlohmann::ordered_json json_of(const std::vector<finding> &all) {
  auto array = nlohmann::ordered_json::array();
  for (const finding &found : all) {
    array.push_back({{"file", found.file},
                     {"line", found.line},
                     {"severity", name(found.weight)},
                     {"id", found.id},
                     {"message", found.message}});
    if (!found.follows.empty()) array.back()["follows"] = json_of(found.follows);
  }
  return array;
}

} // namespace

void findings::sort(const std::vector<std::string> &files) {
  std::map<std::string, size_t> order;
  for (const std::string &file : files) order.try_emplace(file, order.size());
  const auto place = [&order](const finding &found) {
    const auto at = order.find(found.file);
    return std::make_tuple(at != order.end() ? at->second : order.size(), found.line);
  };
  std::stable_sort(all_.begin(), all_.end(),
                   [&place](const finding &a, const finding &b) { return place(a) < place(b); });
  std::set<std::tuple<std::string, int, std::string, std::string>> told;
  std::erase_if(all_, [&told](const finding &found) {
    return !told.emplace(found.file, found.line, found.id, found.message).second;
  });
}

void findings::fold(const std::function<const finding *(const finding &)> &cause_of) {
  std::vector<size_t> causes(all_.size());
  for (size_t i = 0; i < all_.size(); ++i) {
    const finding *cause = cause_of(all_[i]);
    causes[i] = cause != nullptr ? static_cast<size_t>(cause - all_.data()) : i;
  }
  for (size_t i = 0; i < all_.size(); ++i) {
    if (causes[i] == i) continue;
    size_t first = causes[i]; // the cause may itself follow from another finding
    for (size_t steps = 0; causes[first] != first && steps < all_.size(); ++steps) first = causes[first];
    finding &cause = all_[first];
    cause.weight = std::max(cause.weight, all_[i].weight);
    cause.follows.push_back(all_[i]);
  }
  size_t at = 0;
  std::erase_if(all_, [&](const finding &) {
    const size_t i = at++;
    return causes[i] != i;
  });
}

bool findings::any_error() const {
  return std::any_of(all_.begin(), all_.end(),
                     [](const finding &found) { return found.weight == severity::error; });
}

std::string findings::as_text() const {
  const auto place = [](const finding &of) {
    return of.line > 0 ? of.file + ":" + std::to_string(of.line) : of.file;
  };
  std::string text;
  for (const finding &found : all_) {
    text +=
        visible(place(found) + ": " + name(found.weight) + " [" + found.id + "]: " + found.message) + "\n";
    for (const finding &each : found.follows) {
      text += visible("  from this follows " + place(each) + " [" + each.id + "]") + "\n";
    }
  }
  return text;
}

std::string findings::as_json() const {
  return json_text(json_of(all_), 2);
}

} // namespace tovra::check
