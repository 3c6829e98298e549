// URIs: canonical text, refusals, and every operation on them.
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "support/objects.hpp"

using namespace test;

namespace {

own_uri uri_of(std::string_view text) {
  return own_uri(zu_do_uri_new_l(text.data(), text.size()));
}

TEST(uris, have_one_canonical_text) {
  const struct {
    const char *text;
    const char *canonical;
  } cases[] = {
      {"a", "/a"},
      {" \ta/b ", "/a/b"},
      {"", "/"},
      {"/", "/"},
      {"//", "//"},
      {"?b", "/?b"},
      {"//?locations", "//?locations"},
      {"/a;k=", "/a;k="},
      {"/a;k=x=y", "/a;k=x%3Dy"},
      {"/a;k=b c;j=d", "/a;k=b%20c;j=d"},
      {"/a;k=%41%2f%0a%7e", "/a;k=A%2F%0A~"},
      {"/a;k=%41;j=1/b", "/a;k=A;j=1/b"},
      {"a;k=\xc3\xa9!$&'", "/a;k=%C3%A9%21%24%26%27"},
      {"/\xc3\xa9:x&y;\xc3\xa9&=1", "/\xc3\xa9:x&y;\xc3\xa9&=1"},
      {"/a?x=%41 b=c", "/a?x=A%20b%3Dc"},
      {"/a;k=1;kk=2;j=1", "/a;k=1;kk=2;j=1"},
      {"/a;k=1/a;k=1", "/a;k=1/a;k=1"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    balanced_memory balanced;
    own_uri uri = uri_of(row.text);
    ASSERT_EQ(text_of(uri.get()), row.canonical);
    EXPECT_EQ(zu_do_uri_get_len(uri.get()), std::string_view(row.canonical).size());
    own_uri again = uri_of(row.canonical);
    EXPECT_EQ(text_of(again.get()), row.canonical);
    EXPECT_TRUE(zu_do_uri_equals(uri.get(), again.get()));
    EXPECT_FALSE(zu_do_uri_equals(uri.get(), uri_of("/other").get()));
  }
}

TEST(uris, refuse_what_does_not_fit) {
  using namespace std::string_literals;
  const struct {
    std::string text;
    const char *reason;
  } cases[] = {
      {"/a/", "empty segment"},
      {"/a//b", "empty segment"},
      {"//l/", "empty segment"},
      {"/;k=1", "bad segment name"},
      {"/a b", "bad byte in a segment"},
      {"/a\x01", "bad byte in a segment"},
      {"/a\0b"s, "bad byte in a segment"},
      {"/a;", "bad key name"},
      {"/a;k", "key without a value"},
      {"/a;k$=1", "key without a value"},
      {"/a;k=1;j=2;k=3", "key given twice"},
      {"/a;k=%4", "malformed % in a value"},
      {"/a;k=%4g", "malformed % in a value"},
      {"/a;k=%00", "%00 in a value"},
      {"/a;k=\x7f", "control byte in a value"},
      {"/a?", "query without a name"},
      {"/a?=1", "query without a name"},
      {"/a?b?c", "bad byte in a query"},
      {"/a?b=1;c", "bad byte in a query"},
      {"/" + std::string(65536, 'a'), "longer than 64 KiB"},
      {"/a;k=" + std::string(30000, ' ') + "x", "longer than 64 KiB"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text.substr(0, 40));
    balanced_memory balanced;
    const char *reason = nullptr;
    EXPECT_EQ(zu_do_uri_parse(row.text.data(), row.text.size(), &reason), nullptr);
    EXPECT_STREQ(reason, row.reason);
  }
  EXPECT_EQ(zu_do_uri_new(nullptr), nullptr);
  EXPECT_NE(uri_of("/" + std::string(65535, 'a')), nullptr);
}

TEST(uris, take_many_keys_but_none_twice) {
  std::string text = "/a";
  for (int i = 0; text.size() < 65000; ++i) text += ";" + std::to_string(i) + "=";
  own_uri uri = uri_of(text);
  EXPECT_EQ(text_of(uri.get()), text);
  EXPECT_EQ(uri_of(text + ";77="), nullptr);
  EXPECT_EQ(uri_of("/a;1=;2=;3=;4=;5=;6=;7=;8=;9=;3="), nullptr);
  EXPECT_NE(uri_of("/a;1=;2=;3=;4=;5=;6=;7=;8=;9=/b;3="), nullptr);
}

struct facts {
  const char *text;
  int32_t coll_type;
  const char *relative;
  const char *root;     // "(none)"
  const char *location; // none: a code
  const char *parent;
  std::vector<const char *> segments; // name;key=decoded value
  bool keyed_below_first;
};

std::string shown(zu_do_uri_segment *segment) {
  std::string text = zu_do_uri_segment_get_name(segment);
  zu_do_nvlist *keys = zu_do_uri_segment_get_keys(segment);
  zu_do_iter it;
  zu_do_nvlist_iter(keys, &it);
  while (zu_do_nvlist_has_next(keys, &it)) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(keys, &it);
    text += std::string(";") + zu_do_nvpair_get_name(pair) + "=" +
            zu_do_value_get_string(zu_do_nvpair_get_value(pair), nullptr);
  }
  return text;
}

void check_segments(zu_do_uri *uri, const std::vector<const char *> &wanted) {
  ASSERT_EQ(zu_do_uri_get_segment_count(uri), wanted.size());
  for (size_t i = 0; i < wanted.size(); ++i) {
    zu_do_uri_segment *segment = zu_do_uri_get_segment(uri, i);
    EXPECT_EQ(shown(segment), wanted[i]);
    EXPECT_EQ(zu_do_uri_segment_get_keys(segment) == nullptr, strchr(wanted[i], ';') == nullptr);
  }
  EXPECT_EQ(zu_do_uri_get_segment(uri, wanted.size()), nullptr);
  zu_do_uri_segment *last = wanted.empty() ? nullptr : zu_do_uri_get_segment(uri, wanted.size() - 1);
  EXPECT_EQ(zu_do_uri_get_segment_last(uri), last);
}

// The offsets agree with what the operations that make objects say.
void check_parts(zu_do_uri *uri, const facts &row) {
  zu_do_uri_parts parts;
  zu_do_uri_get_parts(uri, &parts);
  const std::string_view text(parts.text, parts.length);
  EXPECT_EQ(text, zu_do_uri_get_uri_str(uri));
  if (parts.relative_ok) {
    EXPECT_EQ(text.substr(parts.relative), row.relative);
  }
  EXPECT_EQ(parts.has_segment, !row.segments.empty());
  EXPECT_EQ(parts.keyed_below_first, row.keyed_below_first);
  EXPECT_EQ(parts.end, std::min(text.find('?'), text.size()));
  if (row.segments.empty()) return;
  EXPECT_EQ(text.substr(0, parts.parent), row.parent);
  EXPECT_EQ(text.substr(parts.name, parts.name_end - parts.name),
            zu_do_uri_segment_get_name(zu_do_uri_get_segment_last(uri)));
}

TEST(uris, tell_their_parts) {
  const std::vector<const char *> none;
  const facts cases[] = {
      {"/", 0, "/", "/", "0", "(none)", none, false},
      {"//", 0, "/", "(none)", nullptr, "(none)", none, false},
      {"/b", 0, "/b", "/", "0", "/", {"b"}, false},
      {"sys/ifc", 0, "/sys/ifc", "/", "0", "/sys", {"sys", "ifc"}, false},
      {"/a/b;k=1", 0, "/a/b;k=1", "/", "0", "/a", {"a", "b;k=1"}, true},
      {"/a/b;k=1/c", 0, "/a/b;k=1/c", "/", "0", "/a/b;k=1", {"a", "b;k=1", "c"}, true},
      {"/?b", 1, "/?b", "/", "0", "/", none, false},
      {"/a/b?x=1", 2, "/a/b?x=1", "/", "0", "/a/b", {"a", "b"}, false},
      {"/a;k=1?b", 1, "/a;k=1?b", "/", "0", "/a;k=1", {"a;k=1"}, false},
      {"//b;k=1", 0, "/", "//b;k=1/", "1", "//", {"b;k=1"}, false},
      {"//?locations", 1, "/?locations", "(none)", nullptr, "//", none, false},
      {"//l;loc=1?sys", 1, "/?sys", "//l;loc=1/", "1", "//l;loc=1", {"l;loc=1"}, false},
      {"//l;loc=1/a/b;n=e", 0, "/a/b;n=e", "//l;loc=1/", "1", "//l;loc=1/a", {"l;loc=1", "a", "b;n=e"}, true},
      {"//l;loc=1/a;k=2", 0, "/a;k=2", "//l;loc=1/", "1", "//l;loc=1", {"l;loc=1", "a;k=2"}, false},
      {"//l;a=%2F1;b=2/s", 0, "/s", "//l;a=%2F1;b=2/", "/1", "//l;a=%2F1;b=2", {"l;a=/1;b=2", "s"}, false},
      {"//l/s", 0, "/s", "//l/", nullptr, "//l", {"l", "s"}, false},
  };
  for (const facts &row : cases) {
    SCOPED_TRACE(row.text);
    balanced_memory balanced;
    own_uri uri = uri_of(row.text);
    ASSERT_NE(uri, nullptr);
    EXPECT_EQ(zu_do_uri_is_absolute(uri.get()), std::string_view(row.text).starts_with("//"));
    EXPECT_EQ(zu_do_uri_get_coll_type(uri.get()), row.coll_type);
    EXPECT_EQ(zu_do_uri_is_coll_uri(uri.get()), row.coll_type != 0);
    EXPECT_EQ(text_of(own_uri(zu_do_uri_new_relative(row.text)).get()), row.relative);
    EXPECT_EQ(text_of(own_uri(zu_do_uri_new_absolute_root_from_uri(uri.get())).get()), row.root);
    char location[16] = "?";
    EXPECT_EQ(zu_do_uri_get_location_str(uri.get(), location, sizeof location) == 0, row.location != nullptr);
    if (row.location != nullptr) {
      EXPECT_STREQ(location, row.location);
    }
    EXPECT_EQ(text_of(zu_do_uri_get_parent_uri(uri.get())), row.parent);
    EXPECT_EQ(zu_do_uri_get_parent_uri(uri.get()), zu_do_uri_get_parent_uri(uri.get()));
    check_segments(uri.get(), row.segments);
    check_parts(uri.get(), row);
  }
}

TEST(uris, have_absolute_roots) {
  balanced_memory balanced;
  own_uri given(zu_do_uri_new_absolute_root_from_uri(uri_of("/sys/ifc").get()));
  EXPECT_EQ(text_of(given.get()), "/");
  check_segments(given.get(), {"locations;loc=0"});
  EXPECT_EQ(zu_do_uri_get_parent_uri(given.get()), nullptr);
  own_uri root(zu_do_uri_new_absolute_root_from_uri(uri_of("//l;loc=2/sys?x").get()));
  EXPECT_EQ(text_of(root.get()), "//l;loc=2/");
  EXPECT_FALSE(zu_do_uri_is_coll_uri(root.get()));
  check_segments(root.get(), {"l;loc=2"});
  zu_do_uri_parts parts;
  zu_do_uri_get_parts(root.get(), &parts);
  EXPECT_STREQ(parts.text + parts.relative, "/");
  own_uri again(zu_do_uri_new_absolute_root_from_uri(root.get()));
  EXPECT_TRUE(zu_do_uri_equals(root.get(), again.get()));
}

TEST(uris, fit_a_location_into_the_buffer_or_say_so) {
  own_uri uri = uri_of("//l;loc=12345");
  char buffer[6];
  EXPECT_EQ(zu_do_uri_get_location_str(uri.get(), buffer, 6), 0);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_NE(zu_do_uri_get_location_str(uri.get(), buffer, 5), 0);
  EXPECT_NE(zu_do_uri_get_location_str(nullptr, buffer, 6), 0);
}

TEST(uris, make_collections_as_their_texts_do) {
  for (const char *parent_text : {"/", "//", "/sys", "//l;loc=1", "//l;loc=1/sys/ifc;name=e0"}) {
    SCOPED_TRACE(parent_text);
    balanced_memory balanced;
    own_uri parent = uri_of(parent_text);
    own_uri made(zu_do_uri_new_coll(parent.get(), "ifc"));
    own_uri read = uri_of(std::string(parent_text) + "?ifc");
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(zu_do_uri_equals(made.get(), read.get()));
    EXPECT_EQ(zu_do_uri_get_coll_type(made.get()), 1);
    EXPECT_TRUE(zu_do_uri_equals(zu_do_uri_get_parent_uri(made.get()), parent.get()));
    zu_do_uri_parts a{}, b{};
    zu_do_uri_get_parts(made.get(), &a);
    zu_do_uri_get_parts(read.get(), &b);
    EXPECT_EQ(std::tie(a.relative, a.parent, a.name, a.name_end, a.end, a.relative_ok, a.has_segment),
              std::tie(b.relative, b.parent, b.name, b.name_end, b.end, b.relative_ok, b.has_segment));
    for (const char *bad : {"", "a b", "a/b", "a=1", "a?"}) {
      EXPECT_EQ(zu_do_uri_new_coll(parent.get(), bad), nullptr);
    }
    EXPECT_EQ(zu_do_uri_new_coll(made.get(), "x"), nullptr);
  }
  own_uri given(zu_do_uri_new_absolute_root_from_uri(uri_of("/sys").get()));
  own_uri made(zu_do_uri_new_coll(given.get(), "b"));
  check_segments(made.get(), {});
}

TEST(uris, are_shared_by_threads) {
  for (int round = 0; round < 50; ++round) {
    balanced_memory balanced;
    own_uri uri = uri_of("//l;loc=1/sys/ifc;name=e0");
    std::atomic<int> ready{0};
    zu_do_uri *parents[4];
    zu_do_nvlist *keys[4];
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        own_uri held(zu_do_uri_ref(uri.get()));
        for (++ready; ready < 4;) std::this_thread::yield();
        parents[t] = zu_do_uri_get_parent_uri(held.get());
        keys[t] = zu_do_uri_segment_get_keys(zu_do_uri_get_segment_last(held.get()));
        for (int i = 0; i < 100; ++i) zu_do_uri_deref(zu_do_uri_ref(parents[t]));
      });
    }
    for (auto &thread : threads) thread.join();
    for (int t = 0; t < 4; ++t) {
      EXPECT_EQ(parents[t], parents[0]);
      EXPECT_EQ(keys[t], keys[0]);
    }
    EXPECT_EQ(text_of(parents[0]), "//l;loc=1/sys");
  }
}

TEST(exhausted_memory, is_reported_by_uris) {
  fail_each_allocation([] {
    own_uri uri = uri_of("//l;loc=%20/sys/ifc;name=e%2F0;unit=1");
    own_uri relative(zu_do_uri_new_relative("//l;loc=1/sys"));
    own_uri root(zu_do_uri_new_absolute_root_from_uri(uri.get()));
    own_uri given(zu_do_uri_new_absolute_root_from_uri(relative.get()));
    own_uri collection(zu_do_uri_new_coll(relative.get(), "x"));
    const bool parent = zu_do_uri_get_parent_uri(uri.get()) != nullptr;
    zu_do_uri_segment *last = zu_do_uri_get_segment_last(uri.get());
    const bool keys = zu_do_uri_segment_get_keys(last) != nullptr;
    return parent && keys && root != nullptr && given != nullptr && collection != nullptr;
  });
}

} // namespace
