// The files of the workspace.
#include "files.hpp"

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>

namespace tovra::lsp {

namespace fs = std::filesystem;

std::string plain_path(const std::string &path) {
  const fs::path given(path);
  std::error_code failure;
  const fs::path folder = fs::weakly_canonical(fs::absolute(given, failure).parent_path(), failure);
  return failure ? path : (folder / given.filename()).string();
}

std::optional<std::string> path_of_uri(const std::string &uri) {
  std::string_view rest = uri;
  constexpr std::string_view scheme = "file://";
  if (!rest.starts_with(scheme)) return std::nullopt;
  rest.remove_prefix(scheme.size());
  if (rest.starts_with("localhost/")) rest.remove_prefix(9);
  if (!rest.starts_with('/')) return std::nullopt;
  std::string path;
  const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  for (size_t at = 0; at < rest.size(); ++at) {
    const bool coded =
        rest[at] == '%' && at + 2 < rest.size() && isxdigit(rest[at + 1]) && isxdigit(rest[at + 2]);
    path += coded ? static_cast<char>(digit(rest[at + 1]) * 16 + digit(rest[at + 2])) : rest[at];
    if (coded) at += 2;
  }
  if (path.find('\0') != path.npos) return std::nullopt;
  return plain_path(path);
}

std::string uri_of_path(const std::string &path) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view plain = "/-._~";
  std::string uri = "file://";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80 && (isalnum(byte) || plain.find(c) != plain.npos)) {
      uri += c;
    } else {
      uri.append({'%', digits[byte >> 4], digits[byte & 15]});
    }
  }
  return uri;
}

file_stamp stamp_of(const std::string &path) {
  struct stat about = {};
  if (stat(path.c_str(), &about) != 0) return {};
  constexpr int64_t second = 1000000000;
  return {about.st_size, about.st_mtim.tv_sec * second + about.st_mtim.tv_nsec,
          about.st_ctim.tv_sec * second + about.st_ctim.tv_nsec, about.st_ino};
}

void files::open(const std::string &path, document opened) {
  disk_.erase(path);
  changed(documents_.insert_or_assign(path, std::move(opened)).first->second);
}

void files::close(const std::string &path) {
  documents_.erase(path);
}

document *files::find(const std::string &path) {
  const auto found = documents_.find(path);
  return found != documents_.end() ? &found->second : nullptr;
}

std::string files::uri_of(const std::string &path) const {
  const auto found = documents_.find(path);
  return found != documents_.end() ? found->second.uri : uri_of_path(path);
}

const files::kept &files::from_disk(const std::string &path) const {
  const file_stamp now = stamp_of(path);
  const auto known = disk_.find(path);
  if (known != disk_.end() && known->second.stamp == now) return known->second;
  std::string bytes;
  const int failure = check::text_source::read(path, bytes);
  return disk_.insert_or_assign(path, kept{now, std::make_shared<const text>(std::move(bytes)), failure})
      .first->second;
}

std::shared_ptr<const text> files::text_of(const std::string &path) const {
  const auto found = documents_.find(path);
  if (found != documents_.end()) return {std::shared_ptr<const text>(), &found->second.text};
  std::error_code failure;
  if (!fs::is_regular_file(path, failure)) return std::make_shared<const text>("");
  return from_disk(path).read;
}

files::state files::state_of(const std::string &directories) const {
  state made;
  std::istringstream list(directories);
  for (std::string directory; std::getline(list, directory, ':');) {
    std::error_code failure;
    for (const std::string &name : names_in(directory, failure)) {
      const std::string path = directory + "/" + name;
      if (!name.ends_with(".tvr")) continue;
      const auto open = documents_.find(path);
      made[path] = open != documents_.end() ? std::make_pair(open->second.revision, file_stamp())
                                            : std::make_pair(uint64_t{0}, stamp_of(path));
    }
    if (failure) made[directory] = {static_cast<uint64_t>(failure.value()), {}};
  }
  return made;
}

std::set<std::string> files::names_in(const std::string &directory, std::error_code &failure) const {
  std::set<std::string> names = check::text_source::names_in(directory, failure);
  const std::string prefix = directory + "/";
  for (auto at = documents_.lower_bound(prefix); at != documents_.end() && at->first.starts_with(prefix);
       ++at) {
    const std::string name = at->first.substr(prefix.size());
    if (name.find('/') == name.npos) names.insert(name);
  }
  return names;
}

int files::read(const std::string &file, std::string &text) const {
  const auto found = documents_.find(file);
  if (found != documents_.end()) {
    text = found->second.text.bytes();
    return 0;
  }
  const kept &here = from_disk(file);
  text = here.read->bytes();
  return here.failure;
}

} // namespace tovra::lsp
