// What template files hold at one time.
#include "template_stamp.hpp"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <sys/stat.h>

#include "check/read_file.hpp"

namespace tovra {

namespace {

namespace fs = std::filesystem;

int64_t nanoseconds(const timespec &time) {
  return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

uint64_t sum(std::string_view text) {
  uint64_t hash = 14695981039346656037u; // FNV-1a
  for (const char character : text) hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211u;
  return hash;
}

template <class Take>
void for_each_entry(const std::string &folder, Take &&take) {
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), last; !failure && entry != last;
       entry.increment(failure)) {
    take(*entry);
  }
}

} // namespace

std::vector<std::string> folders_below(const std::string &folder) {
  std::vector<std::string> all = {folder};
  std::set<fs::path> seen; // links may form a circle
  for (size_t i = 0; i < all.size(); ++i) {
    std::error_code none;
    if (!seen.insert(fs::canonical(all[i], none)).second) continue;
    for_each_entry(std::string(all[i]), [&all](const fs::directory_entry &entry) {
      std::error_code no_folder;
      if (entry.is_directory(no_folder)) all.push_back(entry.path().string());
    });
  }
  return all;
}

template_stamp::file template_stamp::look_at(const std::string &path, bool read) {
  struct stat about = {};
  if (stat(path.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) return {};
  std::string text;
  if (read) check::read_file(path, text);
  return {about.st_size, nanoseconds(about.st_mtim), nanoseconds(about.st_ctim), sum(text)};
}

template_stamp::template_stamp(const std::string &directories) {
  for (size_t at = 0; at < directories.size();) {
    const size_t end = std::min(directories.find(':', at), directories.size());
    const std::string directory = directories.substr(at, end - at);
    at = end + 1;
    for_each_entry(directory, [this](const fs::directory_entry &entry) {
      const std::string path = entry.path().string();
      if (path.ends_with(".tvr")) files_[path] = look_at(path, true);
    });
  }
}

void template_stamp::add_modules(const std::string &folder) {
  for_each_entry(folder, [this](const fs::directory_entry &entry) {
    const std::string path = entry.path().string();
    if (path.ends_with(".yang") || path.ends_with(".yin")) add(path);
  });
}

void template_stamp::add(const std::string &path) {
  const file now = look_at(path, false);
  files_[path] = now.size > 0 ? now : file(); // an empty file is the same as no file
}

std::vector<std::string> template_stamp::paths() const {
  std::vector<std::string> all;
  for (const auto &[path, told] : files_) all.push_back(path);
  return all;
}

std::string template_stamp::difference(const template_stamp &other) const {
  for (const auto *one : {this, &other}) {
    const auto &others = (one == this ? other : *this).files_;
    for (const auto &[path, told] : one->files_) {
      const auto found = others.find(path);
      if (found == others.end() || found->second != told) return path;
    }
  }
  return "";
}

} // namespace tovra
