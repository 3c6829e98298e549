// Records made by hand, for tests that render: as records of their own and as views of a store's row.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zu_tovra/internal/own.hpp"
#include "zuapi/frozen.hpp"

namespace test {

inline tvr::ref<zu_do_name> name_of(const std::string &text) {
  return tvr::ref<zu_do_name>::adopt(zu_do_name_new(text.c_str()));
}

// A value from JSON; "none" is a value without type, and a leading '=' makes it a default value.
inline tvr::ref<zu_do_value> value_of(const std::string &text) {
  if (text == "none") return tvr::ref<zu_do_value>::adopt(zu_do_value_new_none());
  const bool is_default = text.starts_with('=');
  const std::string json = is_default ? text.substr(1) : text;
  auto value = tvr::ref<zu_do_value>::adopt(zu_do_value_from_json(json.c_str(), json.size(), nullptr));
  EXPECT_TRUE(value) << text;
  if (!is_default) return value;
  const char *type = zu_do_value_get_typedef_name(value.get());
  return tvr::ref<zu_do_value>::adopt(zu_do_value_new_as(value.get(), type, true));
}

struct property {
  std::string name;
  std::string value; // as value_of takes it
};

// What a record is made of; an empty URI or collection URI is left out.
struct record_text {
  std::string uri;
  std::string collection;
  std::vector<property> properties;
};

class made_record {
public:
  // `as_row`: a view of a row, as records from a store are; else a record of its own.
  made_record(const record_text &given, bool as_row) {
    for (const auto &one : given.properties) {
      names_.push_back(name_of(one.name));
      values_.push_back(value_of(one.value));
    }
    uri_ = tvr::ref<zu_do_uri>::adopt(zu_do_uri_new(given.uri.empty() ? "/" : given.uri.c_str()));
    if (as_row && !given.uri.empty()) {
      make_row();
    } else {
      record_ = tvr::ref<zu_do_properties>::adopt(zu_do_properties_new());
      if (!given.uri.empty()) zu_do_properties_set_mr_uri(get(), ZU_DO_NAME_URI, uri_.get());
      for (size_t i = 0; i < names_.size(); ++i) {
        zu_do_properties_set_value_n(get(), names_[i].get(), values_[i].get());
      }
    }
    if (given.collection.empty()) return;
    const auto collection = tvr::ref<zu_do_uri>::adopt(zu_do_uri_new(given.collection.c_str()));
    EXPECT_TRUE(collection) << given.collection;
    zu_do_properties_set_coll_uri(get(), ZU_DO_NAME_COLL_URI, collection.get());
  }

  zu_do_properties *get() const { return record_.get(); }

private:
  void make_row() {
    std::vector<zu_do_name *> columns;
    own_name_ = name_of(ZU_DO_NAME_URI);
    columns.push_back(own_name_.get());
    for (const auto &name : names_) columns.push_back(name.get());
    const auto width = static_cast<uint32_t>(columns.size());
    form_.reset(zuapi::shape_new(columns.data(), width));
    zuapi::shape *form = form_.get();
    zu_do_vlist *row = zuapi::row_make(memory_, form, uri_.get());
    for (size_t i = 0; i < values_.size(); ++i) {
      zu_do_value &cell = zuapi::row_values(row)[i + 1] = *values_[i].get();
      cell.flags &= static_cast<uint8_t>(~zuapi::value_counted);
    }
    record_ = tvr::ref<zu_do_properties>::adopt(
        zu_do_get_shortcuts()->new_from_row(nullptr, zuapi::shape_columns(form), row));
  }

  std::vector<tvr::ref<zu_do_name>> names_;
  std::vector<tvr::ref<zu_do_value>> values_;
  tvr::ref<zu_do_uri> uri_;
  tvr::ref<zu_do_name> own_name_;
  struct shape_freer {
    void operator()(zuapi::shape *form) const { zuapi::shape_free(form); }
  };
  std::unique_ptr<zuapi::shape, shape_freer> form_;
  zuapi::arena memory_;
  tvr::ref<zu_do_properties> record_;
};

} // namespace test
