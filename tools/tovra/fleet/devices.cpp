// Lists the devices of a source.
#include "devices.hpp"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <tuple>

#include "../data_file.hpp"
#include "../output.hpp"
#include "store/store.h"
#include "zuapi/zuapi.h"

namespace tovra::fleet {

namespace {

namespace fs = std::filesystem;

std::optional<std::vector<device>> refuse(const std::string &source, const std::string &why) {
  say("tovra: " + data_name(source) + ": " + why);
  return std::nullopt;
}

std::optional<std::vector<device>> of_database(const std::string &source) {
  std::vector<std::string> names;
  const auto take = [](void *into, const char *name) {
    static_cast<std::vector<std::string> *>(into)->emplace_back(name);
  };
  zu_do_error *error = nullptr;
  if (!zu_store_each_device(source.c_str(), take, &names, &error)) {
    say(error != nullptr ? zu_do_error_get_msg(error) : "tovra: out of memory");
    zu_do_error_deref(error);
    return std::nullopt;
  }
  std::vector<device> found;
  for (std::string &name : names) {
    if (name.empty()) return refuse(source, "a device has no name");
    std::string data = device_in(source, name);
    found.push_back({std::move(name), std::move(data)});
  }
  return found;
}

bool is_among(const fs::path &file, const std::vector<std::string> &files) {
  std::error_code none;
  return std::any_of(files.begin(), files.end(),
                     [&](const std::string &other) { return fs::equivalent(file, other, none); });
}

// The endings of names of device files.
std::vector<std::string> endings_of(const std::string &source) {
  return is_yang(source) ? std::vector<std::string>{".json", ".xml"}
                         : std::vector<std::string>{".json", ".yaml", ".yml"};
}

std::string folder_of(const std::string &source) {
  return is_yang(source) ? source.substr(yang_scheme.size()) : source;
}

// Hidden files are left out: they belong to editors.
std::optional<std::vector<device>> of_folder(const std::string &source,
                                             const std::vector<std::string> &classes) {
  std::vector<device> found;
  const auto endings = endings_of(source);
  std::error_code failure;
  fs::directory_iterator entry(folder_of(source), failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    const fs::path &path = entry->path();
    if (std::find(endings.begin(), endings.end(), path.extension()) == endings.end()) continue;
    if (path.filename().string().starts_with('.') || is_among(path, classes)) continue;
    found.push_back(
        {path.stem().string(), (is_yang(source) ? std::string(yang_scheme) : "") + path.string()});
  }
  if (failure) return refuse(source, failure.message());
  return found;
}

} // namespace

std::optional<std::vector<device>> devices_of(const std::string &source,
                                              const std::vector<std::string> &classes) {
  std::error_code none;
  const std::string folder = folder_of(source);
  const bool is_folder = fs::is_directory(folder, none);
  if (!is_folder && (fs::exists(folder, none) || source.find("device=") != source.npos || folder == "-")) {
    return refuse(source, "one device; a fleet is a folder of data files or a database of devices");
  }
  if (is_yang(source) && yang().names.empty())
    return refuse(source, "YANG data need the names of their modules, --yang-module");
  auto found = is_folder || is_yang(source) || source.find(':') == source.npos ? of_folder(source, classes)
                                                                               : of_database(source);
  if (!found) return std::nullopt;
  if (found->empty()) {
    std::string endings;
    for (const auto &each : endings_of(source)) endings += (endings.empty() ? "*" : ", *") + each;
    return refuse(source, is_folder ? "no data file, " + endings : "it has no device");
  }
  const auto by_name = [](const device &one, const device &other) {
    return std::tie(one.name, one.data) < std::tie(other.name, other.data);
  };
  std::sort(found->begin(), found->end(), by_name);
  const auto twice =
      std::adjacent_find(found->begin(), found->end(),
                         [](const device &one, const device &other) { return one.name == other.name; });
  if (twice != found->end()) {
    return refuse(twice->data, "the device has another one, " + std::next(twice)->data);
  }
  return found;
}

} // namespace tovra::fleet
