// Finds the template files and loads them, record by record.
#include "templates.hpp"

#include <algorithm>
#include <filesystem>
#include <glib.h>
#include <sstream>
#include <system_error>

#include "nearest.hpp"
#include "read_file.hpp"
#include "uri_text.hpp"

namespace tovra::check {

namespace {

namespace fs = std::filesystem;

// The template files of a directory, in the byte order of their names.
std::vector<std::string> files_in(const std::string &directory, const text_source &texts, findings &found) {
  std::vector<std::string> files;
  std::error_code failure;
  for (const std::string &name : texts.names_in(directory, failure)) {
    if (name.ends_with(".tvr")) files.push_back(directory + "/" + name);
  }
  if (failure) {
    found.add({directory, 0, severity::error, "refused", "Unable to open directory: " + failure.message()});
  }
  return files;
}

std::string text_of(const std::string &file, const text_source &texts, findings &found) {
  std::string text;
  std::error_code failure;
  const auto status = fs::status(file, failure);
  if (!failure && !fs::is_regular_file(status)) { // opening a pipe would wait for a writer
    found.add({file, 0, severity::error, "refused", "not a regular file"});
  } else if (const int number = texts.read(file, text); number != 0) {
    found.add({file, 0, severity::error, "refused",
               "Unable to read contents of file " + file + ": " + std::generic_category().message(number)});
  } else if (text.empty()) {
    found.add({file, 0, severity::error, "refused",
               "Unable to read contents of file " + file + ": it is empty; write a comment, or remove it"});
  }
  return text;
}

// The text up to its first NUL byte, where it ends for the loader.
std::string_view up_to_nul(const std::string &file, std::string_view text, findings &found) {
  const size_t nul = text.find('\0');
  if (nul == text.npos) return text;
  const auto number = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(nul), '\n');
  found.add({file, static_cast<int>(number), severity::error, "nul",
             "a NUL byte ends the file for the loader: nothing after it is read; remove it"});
  return text.substr(0, nul);
}

// The records of one file, for the faults that the library's loader reports while it reads the text.
struct file_load {
  std::vector<record *> records;
  findings &found;
  nearest_names ops = nearest_names({std::begin(tvr::ops), std::end(tvr::ops)});

  record *at(int line) const {
    const auto after =
        std::upper_bound(records.begin(), records.end(), line,
                         [](int wanted, const record *at) { return wanted < at->first_number; });
    return after != records.begin() ? after[-1] : nullptr;
  }
};

// What is wrong with the URI of a refused line; empty when something else is wrong.
std::string about_uri(const record &record, int number) {
  for (const line &line : record.lines) {
    if (line.number != number) continue;
    if (line.keyword == word::uri) return why_refused(trimmed(line.value));
    const bool begins_with_uri = line.keyword == word::props || line.keyword == word::location;
    return begins_with_uri ? why_refused(first_word(line.value)) : "";
  }
  return "";
}

bool take_fault(void *into, const zu_tvr_diagnostic *fault) {
  auto &load = *static_cast<file_load *>(into);
  const int number = static_cast<int>(fault->line);
  record *record = load.at(number);
  const std::string reason = record != nullptr ? about_uri(*record, number) : "";
  std::string words = reason.empty() ? words_of(*fault) : fault->message + (": " + reason);
  if (record != nullptr && fault->kind == ZU_TVR_FAULT_RECORD) words += load.ops.hint(record->op);
  load.found.add({fault->file, number, severity::error, "refused", words});
  if (record == nullptr) return true;
  record->sound = false;
  for (line &line : record->lines) line.refused = line.refused || line.number == number;
  return true;
}

zu_tvr_node *node_of(const template_set &set, const record &record) {
  return static_cast<zu_tvr_node *>(g_hash_table_lookup(set.tree->nodes, record.id.c_str()));
}

// Adds the record to the tree of a check. A second record with the same id is left out, as the library has
// refused or dropped it.
void link(template_set &set, const record &record) {
  if (record.id.empty() || !set.named.try_emplace(record.id, &record).second) return;
  set.children[record.parent.empty() ? "ROOT" : record.parent].push_back(&record);
}

// A node belongs to the record on whose line it was made: a second "config" or "interface" is accepted, but
// dropped.
void load_file(template_set &set, const std::string &file, const std::string &text, findings &found) {
  file_load load{.records = {}, .found = found};
  const size_t first = set.records.size();
  for (record &read : read_records(file, up_to_nul(file, text, found))) {
    set.records.push_back(std::move(read));
    load.records.push_back(&set.records.back());
  }
  std::set<std::string> known;
  for (const record *record : load.records) {
    if (node_of(set, *record) != nullptr) known.insert(record->id);
  }
  (void)zu_tvr_load_text_observed(set.tree.get(), file.c_str(), text.c_str(), take_fault, &load);
  for (record *record : load.records) {
    zu_tvr_node *node = known.contains(record->id) ? nullptr : node_of(set, *record);
    if (node != nullptr && static_cast<int>(zu_tvr_node_line(node)) == record->number) record->node = node;
  }
  for (size_t i = first; i < set.records.size(); ++i) link(set, set.records[i]);
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

std::set<std::string> text_source::names_in(const std::string &directory, std::error_code &failure) const {
  std::set<std::string> names;
  for (fs::directory_iterator at(directory, failure), end; !failure && at != end; at.increment(failure)) {
    names.insert(at->path().filename());
  }
  return names;
}

int text_source::read(const std::string &file, std::string &text) const {
  return read_file(file, text);
}

template_set load_all(const std::string &directories, findings &found, const text_source &texts) {
  template_set set;
  set.tree.reset(zu_tvr_tree_new());
  std::istringstream list(directories);
  for (std::string directory; std::getline(list, directory, ':');) {
    if (directory.empty()) continue;
    for (const std::string &file : files_in(directory, texts, found)) {
      set.files.push_back(file);
      load_file(set, file, text_of(file, texts, found), found);
    }
  }
  if (set.files.empty()) {
    const bool named = directories.find_first_not_of(':') != directories.npos;
    found.add({named ? directories : "--templates", 0, severity::warning, "no-templates",
               named ? "no file ends in .tvr: nothing is rendered"
                     : "no directory is named: no template is loaded, and nothing is rendered"});
  }
  return set;
}

} // namespace tovra::check
