// What template files hold at one time.
#include "template_stamp.hpp"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>

#include "check/read_file.hpp"

namespace tovra {

namespace {

int64_t nanoseconds(const timespec &time) {
  return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

uint64_t sum(std::string_view text) {
  uint64_t hash = 14695981039346656037u; // FNV-1a
  for (const char character : text) hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211u;
  return hash;
}

} // namespace

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
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(directory, failure), last; !failure && entry != last;
         entry.increment(failure)) {
      const std::string path = entry->path().string();
      if (path.ends_with(".tvr")) files_[path] = look_at(path, true);
    }
  }
}

void template_stamp::add(const std::string &path) {
  const file now = look_at(path, false);
  files_[path] = now.size > 0 ? now : file(); // an empty one says no more than none
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
