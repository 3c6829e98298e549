// A request to render: it loads and checks what the render needs, and hands out text and errors.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.hpp"
#include "data_file.hpp"
#include "handles.hpp"
#include "template_stamp.hpp"
#include "templates.hpp"
#include "zu_tovra/render.hpp"

namespace tovra {

// Takes what a render hands out, on the thread of the render.
class receiver {
public:
  virtual ~receiver() = default;
  virtual bool take_text(std::string_view piece) = 0; // false: stop
  virtual void take_error(const zu_tovra::error &error) = 0;
};

// Collects the whole text as `tovra render` writes it. Errors are reported.
class gathered : public receiver {
public:
  bool take_text(std::string_view piece) override;
  void take_error(const zu_tovra::error &error) override;
  std::string take(); // called after the render; another render may follow

private:
  std::string text_;
  bool any_ = false;
};

// Why no render can begin at the node of that id (empty: at "config"), with the nearest id that exists. Empty
// when one can.
std::string unknown_node(const zu_tvr_tree &tree, const std::string &id);

// Reports an error of a render, and on a second line where it happened.
void say_error(const zu_tovra::error &error);

// The part of a request that does not depend on the data: the templates, checked, and the arguments. A fleet
// makes it once for all its devices.
class preparation {
public:
  explicit preparation(const options &asked) : asked_(asked) {}
  preparation(const preparation &) = delete;
  preparation &operator=(const preparation &) = delete;

  // Returns `done` or the exit status. Errors and warnings have been reported.
  int load();
  // Makes the library load the templates, replacing those that it has. False when the result is not the tree
  // that was checked, which has been reported.
  bool put_in_use();

  const zu_tvr_tree &tree() const { return *tree_; }
  void drop_tree() { tree_.reset(); }
  const std::string &no_node() const { return no_node_; } // why the node cannot be rendered, or empty
  properties_handle arguments() const;                    // null after wrong usage, which has been reported
  double seconds() const { return seconds_; }

private:
  bool load_templates();

  const options &asked_;
  std::optional<std::string> directories_;
  std::optional<template_stamp> checked_; // of what the tree was loaded from
  tree_handle tree_;
  std::string no_node_;
  double seconds_ = 0;
};

// Several requests may follow one another, and each loads the templates as they are then. Requests that run
// on several threads at once share one preparation.
class request {
public:
  // Has a preparation of its own.
  explicit request(const options &asked) : asked_(asked), own_(std::in_place, asked), prepared_(*own_) {}
  // Uses templates that the library has loaded already.
  request(const options &asked, preparation &prepared) : asked_(asked), prepared_(prepared) {}
  request(const request &) = delete;
  request &operator=(const request &) = delete;

  // Loads templates, data and arguments. Returns `done` or the exit status. Errors and warnings have been
  // reported.
  int load();
  // Runs a step that renders, on one state of the data (see in_one_state in data_file.hpp).
  int attempt(output *out, const std::function<int()> &step);
  // Called in such a step. False after a failure, for which at least one error was handed out, or when text
  // was refused.
  bool render(receiver &to, const zu_tvr_observer *observer = nullptr);

  // Runs such a step to get only the text; nullopt after a failure.
  std::optional<std::string> whole_text(gathered &into);

  // The templates as they were checked, for callers that look at them before the render. The library has a
  // tree of its own.
  const zu_tvr_tree &tree() const { return prepared_.tree(); }
  void drop_tree() { prepared_.drop_tree(); }
  // The store that is rendered: of the data file, or of the configuration that was asked for; null when no
  // configuration has that name.
  zu_data_ifc *store() const;
  zu_store_wrapper *wrapper() const { return wrapper_.get(); } // with options::stats, otherwise null

  struct timings {
    double data = 0; // seconds
    double templates = 0;
    double render = 0;
  };
  const timings &took() const { return took_; }

private:
  bool load_configurations();
  bool take_data(const std::string &name);

  const options &asked_;
  std::optional<preparation> own_;
  preparation &prepared_;
  properties_handle arguments_;
  std::vector<loaded_data> all_data_; // the default data, then the named configurations
  wrapper_handle wrapper_;
  std::optional<zu_tovra::renderer> renderer_;
  timings took_;
};

} // namespace tovra
