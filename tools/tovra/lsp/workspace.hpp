// Templates that belong together. They are checked again whenever one of them or their data has changed.
#pragma once

#include <functional>

#include "../check/inspect.hpp"
#include "../process.hpp"
#include "files.hpp"

namespace tovra::lsp {

using check::record;
using check::word;

// What a render did at a node.
struct explained {
  static constexpr size_t most_lines = 8;
  // What walks of the node did besides writing lines: how often, and the first case in full.
  struct outcome {
    size_t times = 0;
    std::string told;
    std::string record;
  };

  size_t lines = 0;
  std::string shown;                     // the first lines
  std::map<std::string, outcome> others; // by the short name of the reason, or by what happened
  std::string never;                     // why it was not walked
  std::string failure;                   // why there is no result
};
// Makes the command that is run for it: `tovra explain --format json`.
using explainer =
    std::function<process_request(const std::string &id, const std::string &directories,
                                  const std::string &data, const std::vector<std::string> &classes)>;

// Thrown when a request cannot be answered before a render has ended. The request is then asked again.
struct unfinished {};

// The file in which the data is: for "sqlite:FILE?device=NAME" the database; empty for a server.
std::string data_file_of(const std::string &name);

class workspace {
public:
  // Paths are absolute; data and classes may be empty. The files must outlive the workspace.
  workspace(std::string directories, std::string data, std::vector<std::string> classes,
            const lsp::files &files, explainer explain);
  ~workspace();

  // Checks again if a file has changed since the last time. True when it has checked.
  bool refresh();

  // The results of the last refresh.
  const check::template_set &set() const { return made_->set; }
  const check::walks &ways() const { return made_->ways; }
  const check::findings &found() const { return made_->found; }
  const check::data_set *data() const { return data_ ? &*data_ : nullptr; }
  const std::string &data_fault() const { return data_fault_; } // why there is no data though a name is given

  bool has(const std::string &path) const; // true for a file that is checked
  // The records of a file, in their order.
  const std::vector<const record *> &records_of(const std::string &file) const;
  // The record to which a line of a file belongs, or null.
  const record *record_at(const std::string &file, int line) const;
  // What a render with the data does at a node, with unsaved texts; nullopt without data. The render runs in
  // another process, since templates in the middle of an edit may make it very slow. The first call begins it
  // and throws `unfinished`; so does every call until it has ended. Only one runs at a time. Results are kept
  // until a text or the data changes.
  std::optional<explained> render_of(const std::string &id);
  // The render that is running, or null.
  const running_process *running() const;
  void end_render(); // called when no request waits for it any more

  const lsp::files &files() const { return files_; }
  const std::string &directories() const { return directories_; }
  const std::string &data_name() const { return data_name_; }
  const std::string &data_path() const { return data_path_; } // the file of the data, or of its database

private:
  struct render;

  void read_data();
  void take_render();
  std::vector<file_stamp> stamps_of_data() const;

  const std::string directories_;
  const std::string data_name_;
  const std::string data_path_;
  const std::vector<std::string> classes_;
  const lsp::files &files_;
  const explainer explain_;
  lsp::files::state read_;
  std::vector<file_stamp> data_stamps_; // of the data and of the classes
  std::optional<check::data_set> data_;
  std::string data_fault_;
  std::unique_ptr<check::inspection> made_;
  std::map<std::string, std::vector<const record *>> records_;
  std::map<std::string, explained> rendered_; // results, by id
  std::unique_ptr<render> running_;
};

} // namespace tovra::lsp
