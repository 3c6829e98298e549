// Finding the template files and loading them, record by record.
#include "templates.hpp"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "load_record.hpp"
#include "read_file.hpp"

namespace tovra::check {

namespace {

namespace fs = std::filesystem;

// Its template files, by the bytes of their names.
std::vector<std::string> files_in(const std::string &directory, findings &found) {
  std::vector<std::string> names;
  std::error_code failure;
  for (fs::directory_iterator at(directory, failure), end; !failure && at != end; at.increment(failure)) {
    const std::string name = at->path().filename();
    if (name.ends_with(".tvr")) names.push_back(name);
  }
  if (failure) {
    found.add({directory, 0, severity::error, "refused", "Unable to open directory: " + failure.message()});
  }
  std::sort(names.begin(), names.end());
  for (std::string &name : names) name.insert(0, directory + "/");
  return names;
}

std::string text_of(const std::string &file, findings &found) {
  std::string text;
  std::error_code failure;
  const auto status = fs::status(file, failure);
  if (!failure && !fs::is_regular_file(status)) { // opening a pipe would wait for its writer
    found.add({file, 0, severity::error, "refused", "not a regular file"});
  } else if (const int number = read_file(file, text); number != 0) {
    found.add({file, 0, severity::error, "refused",
               "Unable to read contents of file " + file + ": " + std::generic_category().message(number)});
  } else if (text.empty()) {
    found.add({file, 0, severity::error, "refused",
               "Unable to read contents of file " + file + ": it is empty; write a comment, or remove it"});
  }
  return text;
}

// The text up to its first NUL, which ends it for the loader.
std::string_view up_to_nul(const std::string &file, std::string_view text, findings &found) {
  const size_t nul = text.find('\0');
  if (nul == text.npos) return text;
  const auto number = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(nul), '\n');
  found.add({file, static_cast<int>(number), severity::error, "nul",
             "a NUL byte ends the file for the loader: nothing after it is read; remove it"});
  return text.substr(0, nul);
}

// The second record of an id is not linked: the tree refused it, or dropped it.
void link(template_set &set, const record &record) {
  if (record.id.empty() || !set.named.try_emplace(record.id, &record).second) return;
  set.children[record.parent.empty() ? "ROOT" : record.parent].push_back(&record);
}

} // namespace

const record *template_set::by_id(const std::string &id) const {
  const auto found = named.find(id);
  return found != named.end() ? found->second : nullptr;
}

const std::vector<const record *> &template_set::children_of(const std::string &id) const {
  static const std::vector<const record *> none;
  const auto found = children.find(id);
  return found != children.end() ? found->second : none;
}

std::set<std::string> template_set::ids() const {
  std::set<std::string> all;
  for (const auto &[id, record] : named) all.insert(id);
  return all;
}

template_set load_all(const std::string &directories, findings &found) {
  template_set set;
  set.tree.reset(zu_tvr_tree_new());
  std::istringstream list(directories);
  for (std::string directory; std::getline(list, directory, ':');) {
    if (directory.empty()) continue;
    for (const std::string &file : files_in(directory, found)) {
      set.files.push_back(file);
      const std::string text = text_of(file, found);
      for (record &record : read_records(file, up_to_nul(file, text, found))) {
        load_record(set.tree.get(), record, set.by_id(record.id), found);
        set.records.push_back(std::move(record));
        link(set, set.records.back());
      }
    }
  }
  if (set.files.empty() && !directories.empty()) {
    found.add(
        {directories, 0, severity::warning, "no-templates", "no file ends in .tvr: nothing is rendered"});
  }
  return set;
}

} // namespace tovra::check
