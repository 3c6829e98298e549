// Findings in order, as text for people and as JSON for editors.
#include "finding.hpp"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <tuple>

#include "../output.hpp"

namespace tovra::check {

namespace {

const char *name(severity weight) {
  return weight == severity::error ? "error" : "warning";
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

bool findings::any_error() const {
  return std::any_of(all_.begin(), all_.end(),
                     [](const finding &found) { return found.weight == severity::error; });
}

std::string findings::as_text() const {
  std::string text;
  for (const finding &found : all_) {
    const std::string at = found.line > 0 ? found.file + ":" + std::to_string(found.line) : found.file;
    text += visible(at + ": " + name(found.weight) + " [" + found.id + "]: " + found.message) + "\n";
  }
  return text;
}

std::string findings::as_json() const {
  auto array = nlohmann::ordered_json::array();
  for (const finding &found : all_) {
    array.push_back({{"file", found.file},
                     {"line", found.line},
                     {"severity", name(found.weight)},
                     {"id", found.id},
                     {"message", found.message}});
  }
  return array.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace tovra::check
