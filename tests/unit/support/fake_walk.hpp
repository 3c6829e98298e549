// A walk context for tests, over a given data interface or over one that only counts its references. It
// records what is reported and what is handed out.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zu_tovra/walk_ctx.h"

namespace test {

// A data interface without data, of which nothing is asked.
class fake_data {
public:
  fake_data() : object_{{&operations}} { object_.self = this; }

  zu_data_ifc *get() { return &object_.base; }

  int references = 0; // taken and not released
  int ref_code = 0;   // what taking one answers
  int free_code = 0;  // what releasing one answers

private:
  struct object {
    zu_data_ifc base;
    fake_data *self = nullptr;
  };
  static fake_data *of(zu_data_ifc *ifc) { return reinterpret_cast<object *>(ifc)->self; }
  static int take(zu_data_ifc *ifc) {
    if (of(ifc)->ref_code == 0) ++of(ifc)->references;
    return of(ifc)->ref_code;
  }
  static int release(zu_data_ifc *ifc) {
    --of(ifc)->references;
    return of(ifc)->free_code;
  }
  static constexpr zu_data_ifc_ops operations{nullptr, take, release, nullptr, nullptr};

  object object_;
};

// How a walk context is made.
struct walk_options {
  zu_data_ifc *data = nullptr; // null: a fake_data
  const char *config_name = nullptr;
  zu_do_properties *arguments = nullptr;
  uint32_t fetch_count = 0;
  zu_tvr_cond_args *cond_args = nullptr;
};

// Lives as long as its context. Only what the library allocates is counted by balanced_memory around it.
class fake_walk {
public:
  explicit fake_walk(const walk_options &options = {}) {
    ctx_ = zu_tvr_walk_ctx_new(options.data != nullptr ? options.data : data.get(), options.config_name,
                               options.arguments, 0, 0x1010000, options.fetch_count, 0, options.cond_args,
                               this, take_error, take_output);
  }
  ~fake_walk() {
    if (ctx_ != nullptr) zu_tvr_walk_ctx_delete(ctx_);
    EXPECT_EQ(data.references, 0);
  }
  fake_walk(const fake_walk &) = delete;
  fake_walk &operator=(const fake_walk &) = delete;

  zu_tvr_walk_ctx *ctx() { return ctx_; } // null when it could not be made
  operator zu_tvr_walk_ctx *() { return ctx_; }
  zu_tvr_walk_ctx *operator->() { return ctx_; }

  // Everything handed out, in one text.
  std::string text() const {
    std::string all;
    for (const auto &piece : output) all += piece;
    return all;
  }
  // Everything reported, one a row.
  std::string error_text() const {
    std::string all;
    for (const auto &error : errors) all += error + "\n";
    return all;
  }
  void clear() {
    errors.clear();
    output.clear();
  }

  fake_data data;
  std::vector<std::string> errors; // "CODE MESSAGE"
  std::vector<std::string> output; // pieces that were taken
  int refuse_nth = 0;              // the n-th piece from the start (from 1) is refused; 0: none
  int offered = 0;                 // pieces, refused ones included

private:
  static int take_error(void *self, int32_t code, const char *message) {
    static_cast<fake_walk *>(self)->errors.push_back(std::to_string(code) + " " + message);
    return 0;
  }
  static bool take_output(void *self, const char *text) {
    auto *walk = static_cast<fake_walk *>(self);
    if (++walk->offered == walk->refuse_nth) return false;
    walk->output.emplace_back(text);
    return true;
  }

  zu_tvr_walk_ctx *ctx_ = nullptr;
};

} // namespace test
