// Checks and renders templates that belong together.
#include "workspace.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "../data_file.hpp"
#include "../output.hpp"
#include "json.hpp"

namespace tovra::lsp {

namespace fs = std::filesystem;

std::string data_file_of(const std::string &name) {
  const std::vector<std::string> files = data_files(name);
  return files.empty() ? "" : files.front();
}

namespace {

bool is_saved(const std::string &path, const std::string &text) {
  std::error_code failure;
  std::string saved; // a pipe is not read
  return fs::is_regular_file(path, failure) && check::text_source().read(path, saved) == 0 && saved == text;
}

// A render reads files, so unsaved texts are written to a temporary folder, with links to all other files.
// When everything is saved, the real directories are used.
class unsaved_templates {
public:
  unsaved_templates(const std::string &directories, const files &all) : given_(directories) {
    const bool all_saved =
        std::all_of(all.documents().begin(), all.documents().end(), [](const auto &document) {
          return is_saved(document.first, document.second.text.bytes());
        });
    if (all_saved) return;
    std::string name = (fs::temp_directory_path() / "tovra-lsp-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw fs::filesystem_error("mkdtemp", name, std::error_code(errno, std::generic_category()));
    }
    folder_ = name;
    std::istringstream list(directories);
    for (std::string directory; std::getline(list, directory, ':');) fill(directory, all);
  }
  ~unsaved_templates() {
    std::error_code none;
    if (!folder_.empty()) fs::remove_all(folder_, none);
  }
  unsaved_templates(const unsaved_templates &) = delete;
  unsaved_templates &operator=(const unsaved_templates &) = delete;

  std::string directories() const { return folder_.empty() ? given_ : made_; }

private:
  static void write_new(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw fs::filesystem_error("write", path, std::make_error_code(std::errc::io_error));
  }

  void fill(const std::string &directory, const files &all) {
    const std::string folder = folder_ + "/" + std::to_string(folders_);
    fs::create_directory(folder);
    std::error_code failure;
    for (const std::string &name : all.names_in(directory, failure)) {
      if (!name.ends_with(".tvr")) continue;
      const std::string path = directory + "/" + name;
      const auto open = all.documents().find(path);
      if (open == all.documents().end()) {
        fs::create_symlink(path, folder + "/" + name);
      } else {
        write_new(folder + "/" + name, open->second.text.bytes());
      }
    }
    made_ += (made_.empty() ? "" : ":") + folder;
    ++folders_;
  }

  const std::string given_;
  std::string folder_;
  std::string made_;
  size_t folders_ = 0;
};

} // namespace

// A render that is running, and the files that it reads.
struct workspace::render {
  render(const workspace &of, std::string node)
      : id(std::move(node)), templates(of.directories_, of.files_),
        asked(of.explain_(id, templates.directories(), of.data_name_, of.classes_)), process(asked) {}

  const std::string id;
  const unsaved_templates templates;
  const process_request asked;
  running_process process;
};

workspace::workspace(std::string directories, std::string data, std::vector<std::string> classes,
                     const lsp::files &files, explainer explain)
    : directories_(std::move(directories)), data_name_(std::move(data)), data_path_(data_file_of(data_name_)),
      classes_(std::move(classes)), files_(files), explain_(std::move(explain)) {}

workspace::~workspace() = default;

std::vector<file_stamp> workspace::stamps_of_data() const {
  std::vector<file_stamp> stamps;
  if (!data_name_.empty()) stamps.push_back(stamp_of(data_path_));
  for (const std::string &file : classes_) stamps.push_back(stamp_of(file));
  return stamps;
}

void workspace::read_data() {
  const kept_lines said; // reasons why it cannot be read
  data_fault_.clear();
  std::error_code failure;
  if (fs::exists(data_path_, failure) && !fs::is_regular_file(data_path_, failure)) {
    data_.reset();
    data_fault_ = data_path_ + ": not a regular file";
    return;
  }
  data_ = check::read_data(data_name_, classes_);
  if (!data_) data_fault_ = said.text();
}

bool workspace::refresh() {
  lsp::files::state now = files_.state_of(directories_);
  std::vector<file_stamp> data_now = stamps_of_data();
  const bool data_changed = !data_now.empty() && (!made_ || data_now != data_stamps_);
  if (made_ && !data_changed && now == read_) return false;
  if (data_changed) read_data();
  made_ = std::make_unique<check::inspection>(check::inspect(directories_, data(), files_));
  read_ = std::move(now);
  data_stamps_ = std::move(data_now);
  rendered_.clear();
  running_.reset();
  records_.clear();
  for (const record &record : made_->set.records) records_[record.file].push_back(&record);
  return true;
}

bool workspace::has(const std::string &path) const {
  return std::find(set().files.begin(), set().files.end(), path) != set().files.end();
}

const std::vector<const record *> &workspace::records_of(const std::string &file) const {
  static const std::vector<const record *> none;
  const auto found = records_.find(file);
  return found != records_.end() ? found->second : none;
}

const record *workspace::record_at(const std::string &file, int line) const {
  const auto &all = records_of(file);
  const auto after = std::upper_bound(all.begin(), all.end(), line,
                                      [](int wanted, const record *at) { return wanted < at->first_number; });
  return after != all.begin() ? after[-1] : nullptr;
}

// Removes the directories from the paths in a text: they may be temporary ones, which mean nothing to the
// user.
static std::string with_plain_names(std::string text, const std::string &directories) {
  std::istringstream list(directories);
  for (std::string folder; std::getline(list, folder, ':');) {
    folder += "/";
    for (size_t at = text.find(folder); at != text.npos; at = text.find(folder, at)) {
      text.erase(at, folder.size());
    }
  }
  return text;
}

static void take_visit(const json &visit, const std::string &directories, explained &into) {
  into.never = with_plain_names(visit.value("never", ""), directories);
  for (const json &outcome : visit.value("outcomes", json::array())) {
    std::string told = outcome.value("told", "");
    if (outcome.contains("number")) { // a line; its text may contain such a directory
      if (++into.lines <= explained::most_lines) into.shown += (into.shown.empty() ? "" : "\n") + told;
      continue;
    }
    told = with_plain_names(std::move(told), directories);
    explained::outcome &other = into.others[outcome.value("reason", told)];
    if (other.times++ == 0) other = {1, told, visit.value("record", "")};
  }
}

const running_process *workspace::running() const {
  return running_ ? &running_->process : nullptr;
}

void workspace::end_render() {
  running_.reset();
}

// Takes the results of a render that has ended.
void workspace::take_render() {
  const std::unique_ptr<render> ended = std::move(running_);
  process_outcome got = ended->process.end();
  explained &made = rendered_[ended->id] = {};
  if (got.timed_out) {
    made.failure = "it takes longer than " + std::to_string(ended->asked.seconds) + " seconds";
    return;
  }
  const std::string directories = ended->templates.directories();
  made.failure = with_plain_names(std::move(got.error), directories);
  std::istringstream lines(got.output);
  for (std::string line; std::getline(lines, line);) { // each line is a JSON object
    const json visit = json::parse(line, nullptr, false);
    if (visit.is_object()) take_visit(visit, directories, made);
  }
}

std::optional<explained> workspace::render_of(const std::string &id) {
  if (!data_ || data_name_.empty() || !explain_) return std::nullopt;
  if (running_ && running_->process.has_ended()) take_render();
  if (const auto known = rendered_.find(id); known != rendered_.end()) return known->second;
  if (running_) throw unfinished();
  try {
    running_ = std::make_unique<render>(*this, id);
  } catch (const fs::filesystem_error &wrong) {
    rendered_[id].failure = wrong.what();
    return rendered_[id];
  }
  throw unfinished();
}

} // namespace tovra::lsp
