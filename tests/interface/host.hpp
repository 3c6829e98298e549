// What a host of the interface's tests has: template files in a scratch folder, a store.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qmalloc/qmalloc.h"
#include "store/store.h"
#include "zu_tovra/render.hpp"

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

inline int64_t live_blocks() {
  return qmalloc_count(ZU_TVR_AREA).live_blocks;
}

} // namespace host
