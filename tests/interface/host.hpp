// A host for the tests of the interface: template files in a scratch folder, a store, requests.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qmalloc/qmalloc.h"
#include "store/store.h"
#include "zu_tovra/zu_tovra.h"

namespace host {

class templates {
public:
  templates() {
    char name[] = "/tmp/tovra-interface-XXXXXX";
    folder_ = mkdtemp(name);
    setenv("ZU_TVR_DIR", folder_.c_str(), 1);
  }
  ~templates() { std::filesystem::remove_all(folder_); }
  templates(const templates &) = delete;
  templates &operator=(const templates &) = delete;

  void write(const std::string &name, const std::string &text) const {
    std::ofstream(folder_ / name) << text;
  }
  const std::filesystem::path &folder() const { return folder_; }
  void remove(const std::string &name) const { std::filesystem::remove(folder_ / name); }

private:
  std::filesystem::path folder_;
};

class store {
public:
  explicit store(const std::string &json) {
    zu_do_error *error = nullptr;
    data_ = zu_store_load_text("data", json.data(), json.size(), &error);
    if (data_ == nullptr) throw std::runtime_error(zu_do_error_get_msg(error));
  }
  ~store() { data_->ops->free(data_); }
  store(const store &) = delete;
  store &operator=(const store &) = delete;

  zu_data_ifc *get() const { return data_; }

private:
  zu_data_ifc *data_ = nullptr;
};

// One CLI context, and what its requests gave.
class session {
public:
  explicit session(zu_data_ifc *data) : cli(zu_cli_context_new(data, take_error, this)) {
    request_.self = this;
    request_.context.output_fn = take_text;
  }
  ~session() {
    zu_do_properties_deref(arguments);
    zu_cli_context_free(cli);
  }
  session(const session &) = delete;
  session &operator=(const session &) = delete;

  bool render(const char *node = nullptr, const char *config = nullptr, int32_t when = 1) {
    request_.context.cleanup_ctx = nullptr;
    request_.context.cleanup_fn = nullptr;
    const bool rendered =
        render_tovra_config_func(cli, &request_.context, when, node, config, arguments, arguments);
    if (request_.context.cleanup_fn != nullptr) request_.context.cleanup_fn(&request_.context);
    return rendered;
  }

  zu_cli_context *cli;
  zu_do_properties *arguments = zu_do_properties_new(); // of the walk
  std::string text;
  std::vector<std::string> errors; // "CODE MESSAGE"

private:
  struct request {
    zu_tovra_context context = {};
    session *self = nullptr;
  } request_;

  static bool take_text(zu_tovra_context *context, zu_cli_context *, const char *text) {
    session *self = reinterpret_cast<request *>(context)->self;
    self->text += text;
    return true;
  }
  static void take_error(void *self, int32_t code, const char *message) {
    static_cast<session *>(self)->errors.push_back(std::to_string(code) + " " + message);
  }
};

inline int64_t live_blocks() {
  return qmalloc_count(ZU_TVR_AREA).live_blocks;
}

} // namespace host
