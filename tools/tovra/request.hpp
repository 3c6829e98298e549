// One render as the host makes it: what it needs, loaded and checked, and where its text and errors go.
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

// What a render hands out, on its thread.
class receiver {
public:
  virtual ~receiver() = default;
  virtual bool take_text(std::string_view piece) = 0; // false: no more is wanted
  virtual void take_error(const zu_tovra::error &error) = 0;
};

// The whole text as `render` writes it. What is wrong is said.
class gathered : public receiver {
public:
  bool take_text(std::string_view piece) override;
  void take_error(const zu_tovra::error &error) override;
  std::string take(); // once the render is over; the next one may follow

private:
  std::string text_;
  bool any_ = false;
};

// Why no render can begin at a node of that id (empty: at "config"): the nearest id is named. Empty when one
// can.
std::string unknown_node(const zu_tvr_tree &tree, const std::string &id);

// Says an error of a render, and on a line below it where it was found.
void say_error(const zu_tovra::error &error);

// What does not depend on the data: the templates, checked, and the arguments.
class preparation {
public:
  explicit preparation(const options &asked) : asked_(asked) {}
  preparation(const preparation &) = delete;
  preparation &operator=(const preparation &) = delete;

  // Done, or the exit status; what is wrong has been said, and what is odd is said too.
  int load();
  // Lets the library load the templates, in the place of what it has: to the same tree, or it is said.
  bool put_in_use();

  const zu_tvr_tree &tree() const { return *tree_; }
  void drop_tree() { tree_.reset(); }
  const std::string &no_node() const { return no_node_; } // why the node cannot be rendered, or empty
  properties_handle arguments() const;                    // none after wrong usage, which is said
  double seconds() const { return seconds_; }

private:
  bool load_templates();

  const options &asked_;
  std::optional<std::string> directories_;
  std::optional<template_stamp> checked_; // what the tree was loaded from
  tree_handle tree_;
  std::string no_node_;
  double seconds_ = 0;
};

// Any number may follow one another, each with the templates as they are then. On several threads at once
// they share one preparation.
class request {
public:
  explicit request(const options &asked) : asked_(asked), own_(std::in_place, asked), prepared_(*own_) {}
  // Renders by templates that are in use.
  request(const options &asked, preparation &prepared) : asked_(asked), prepared_(prepared) {}
  request(const request &) = delete;
  request &operator=(const request &) = delete;

  // Loads templates, data and arguments. Done, or the exit status; what is wrong has been said, and what is
  // odd is said too.
  int load();
  // Runs a step that renders, on data of one state (see data_file.hpp).
  int attempt(output *out, const std::function<int()> &step);
  // In such a step. False after a failure, of which at least one error was told, or when text was refused.
  bool render(receiver &to, const zu_tvr_observer *observer = nullptr);

  // Such a step for the text alone; none after a failure.
  std::optional<std::string> whole_text(gathered &into);

  // The templates as they were checked, for who asks before the render; the library has its own.
  const zu_tvr_tree &tree() const { return prepared_.tree(); }
  void drop_tree() { prepared_.drop_tree(); }
  // The store that is rendered: of the data file, or of the configuration that was asked for; none when there
  // is none of its name.
  zu_data_ifc *store() const;
  zu_store_wrapper *wrapper() const { return wrapper_.get(); } // with options::stats; else none

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
  std::vector<loaded_data> all_data_; // the default first, then the named configurations
  wrapper_handle wrapper_;
  std::optional<zu_tovra::renderer> renderer_;
  timings took_;
};

} // namespace tovra
