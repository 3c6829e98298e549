// Templates that belong together, checked whenever one of them or their data has changed.
#pragma once

#include <functional>

#include "../check/inspect.hpp"
#include "../process.hpp"
#include "files.hpp"

namespace tovra::lsp {

using check::record;
using check::word;

// What a render made of a node.
struct explained {
  static constexpr size_t most_lines = 8;
  // What else than a line came of walks: how often, and the first time in full.
  struct outcome {
    size_t times = 0;
    std::string told;
    std::string record;
  };

  size_t lines = 0;
  std::string shown;                     // the first lines
  std::map<std::string, outcome> others; // by the short name of the reason, or what is told
  std::string never;                     // why it was not walked
  std::string failure;                   // why nothing is known of it
};
// What to run for it: `tovra explain --format json`.
using explainer =
    std::function<process_request(const std::string &id, const std::string &directories,
                                  const std::string &data, const std::vector<std::string> &classes)>;

// A render has to end before the request can be answered: it is to be asked again then.
struct unfinished {};

// The file of what holds the data: that of a database stands in "sqlite:FILE?device=NAME"; a server has none.
std::string data_file_of(const std::string &name);

class workspace {
public:
  // The paths are absolute, data and classes may be none; the files outlive it.
  workspace(std::string directories, std::string data, std::vector<std::string> classes,
            const lsp::files &files, explainer explain);
  ~workspace();

  // Checks again when what was read is no longer what is there. True: it was checked again.
  bool refresh();

  // As of the last refresh.
  const check::template_set &set() const { return made_->set; }
  const check::walks &ways() const { return made_->ways; }
  const check::findings &found() const { return made_->found; }
  const check::data_set *data() const { return data_ ? &*data_ : nullptr; }
  const std::string &data_fault() const { return data_fault_; } // why there is none though it is named

  bool has(const std::string &path) const; // a file that is checked
  // The records of a file, in their order.
  const std::vector<const record *> &records_of(const std::string &file) const;
  // That a line of a file belongs to, or none.
  const record *record_at(const std::string &file, int line) const;
  // What a render with the data makes of a node, with the texts as they are: none without data. It is begun
  // when there is none yet. One runs at a time: throws `unfinished` while it does.
  std::optional<explained> render_of(const std::string &id);
  // The render that runs, or none.
  const running_process *running() const;
  void end_render(); // nobody waits for it any more

  const lsp::files &files() const { return files_; }
  const std::string &directories() const { return directories_; }
  const std::string &data_name() const { return data_name_; }
  const std::string &data_path() const { return data_path_; } // of its file, also of a database

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
  std::vector<file_stamp> data_stamps_; // of the data, and of the classes
  std::optional<check::data_set> data_;
  std::string data_fault_;
  std::unique_ptr<check::inspection> made_;
  std::map<std::string, std::vector<const record *>> records_;
  std::map<std::string, explained> rendered_; // by id
  std::unique_ptr<render> running_;
};

} // namespace tovra::lsp
