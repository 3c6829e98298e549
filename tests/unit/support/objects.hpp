// Handles and helpers for tests of data objects.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "zuapi/zuapi.h"

namespace test {

template <auto Release>
struct releaser {
  template <class T>
  void operator()(T *object) const {
    Release(object);
  }
};
using own_value = std::unique_ptr<zu_do_value, releaser<zu_do_value_deref>>;
using own_uri = std::unique_ptr<zu_do_uri, releaser<zu_do_uri_deref>>;
using own_name = std::unique_ptr<zu_do_name, releaser<zu_do_name_deref>>;
using own_buffer = std::unique_ptr<zu_do_strbuf, releaser<zu_do_strbuf_deref>>;
using own_record = std::unique_ptr<zu_do_properties, releaser<zu_do_properties_deref>>;
using own_list = std::unique_ptr<zu_do_vlist, releaser<zu_do_vlist_deref>>;
using own_nlist = std::unique_ptr<zu_do_nlist, releaser<zu_do_nlist_deref>>;
using own_nvlist = std::unique_ptr<zu_do_nvlist, releaser<zu_do_nvlist_deref>>;
using own_columns = std::unique_ptr<zu_do_ntlist, releaser<zu_do_ntlist_deref>>;
using own_table = std::unique_ptr<zu_do_vtable, releaser<zu_do_vtable_deref>>;
using own_error = std::unique_ptr<zu_do_error, releaser<zu_do_error_deref>>;

inline const zu_do_shortcuts &offered = *zu_do_get_shortcuts();

inline own_value json(std::string_view text) {
  return own_value(zu_do_value_from_json(text.data(), text.size(), nullptr));
}

inline std::string text_of(zu_do_strbuf *buffer) {
  const char *text = zu_do_strbuf_to_string(buffer);
  return text == nullptr ? "(failed)" : std::string(text, zu_do_strbuf_get_len(buffer));
}

inline std::string display(zu_do_value *value) {
  own_buffer buffer(zu_do_strbuf_new());
  EXPECT_EQ(zu_do_value_to_strbuf(value, 0, buffer.get()), 0);
  return text_of(buffer.get());
}

inline std::string text_of(zu_do_uri *uri) {
  return uri == nullptr ? "(none)" : zu_do_uri_get_uri_str(uri);
}

// Runs `body` with its n-th allocation failing, for every n, once that one alone and once all later ones too.
// The body answers whether all that it asked for was done: true only when nothing failed.
inline void fail_each_allocation(const std::function<bool()> &body) {
  for (const bool all_later : {false, true}) {
    uint64_t n = 1;
    for (;; ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n) + (all_later ? " and all later fail" : " fails"));
      balanced_memory balanced;
      qmalloc_fail_nth(n, all_later);
      const bool done = body();
      const bool fired = qmalloc_fail_fired() > 0;
      qmalloc_fail_nth(0, false);
      EXPECT_EQ(done, !fired);
      if (!fired || ::testing::Test::HasFailure()) break;
    }
    EXPECT_GT(n, 1u) << "nothing was allocated";
  }
}

} // namespace test
