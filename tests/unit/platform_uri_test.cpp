// URIs: canonical text, refusals, and every operation on them.
#include <cstring>
#include <vector>

#include "support/objects.hpp"

using namespace test;

namespace {

own_uri uri_of(std::string_view text) {
  return own_uri(zu_do_uri_new_l(text.data(), text.size()));
}

TEST(uris, have_one_canonical_text) {
  for (const auto &[text, canonical] : {
           std::pair{" \ta/b ", "/a/b"},
           {"", "/"},
           {"//", "//"},
           {"?b", "/?b"},
           {"/a;k=", "/a;k="},
           {"/a;k=%41%2f%0a%7e;j=b c/b", "/a;k=A%2F%0A~;j=b%20c/b"},
           {"a;k=\xc3\xa9!$&'", "/a;k=%C3%A9%21%24%26%27"},
           {"/\xc3\xa9:x&y;\xc3\xa9&=1", "/\xc3\xa9:x&y;\xc3\xa9&=1"},
           {"/a?x=%41 b=c", "/a?x=A%20b%3Dc"},
       }) {
    SCOPED_TRACE(text);
    own_uri uri = uri_of(text), again = uri_of(canonical);
    ASSERT_EQ(text_of(uri.get()), canonical);
    EXPECT_EQ(zu_do_uri_get_len(uri.get()), std::string_view(canonical).size());
    EXPECT_TRUE(zu_do_uri_equals(uri.get(), again.get()));
    EXPECT_FALSE(zu_do_uri_equals(uri.get(), uri_of("/other").get()));
  }
}

TEST(uris, refuse_what_does_not_fit) {
  using namespace std::string_literals;
  std::string keys = "/a"; // as many as fit
  for (int i = 0; keys.size() < 65000; ++i) keys += ";" + std::to_string(i) + "=";
  EXPECT_EQ(text_of(uri_of(keys).get()), keys);
  for (const auto &[text, wanted] : {
           std::pair{"/a//b"s, "empty segment"},
           {"/;k=1", "bad segment name"},
           {"/a\0b"s, "bad byte in a segment"},
           {"/a;", "bad key name"},
           {"/a;k", "key without a value"},
           {"/a;k=1;j=2;k=3", "key given twice"},
           {"/a;1=;2=;3=;4=;5=;6=;7=;8=;9=;3=", "key given twice"},
           {keys + ";77=", "key given twice"},
           {"/a;k=%00", "%00 in a value"},
           {"/a;k=\x7f", "control byte in a value"},
           {"/a?=1", "query without a name"},
           {"/a?b?c", "bad byte in a query"},
           {"/" + std::string(65536, 'a'), "longer than 64 KiB"},
           {"/a;k=" + std::string(30000, ' ') + "x", "longer than 64 KiB"},
       }) {
    SCOPED_TRACE(text.substr(0, 40));
    const char *reason = nullptr;
    EXPECT_EQ(zu_do_uri_parse(text.data(), text.size(), &reason), nullptr);
    EXPECT_STREQ(reason, wanted);
  }
  EXPECT_NE(uri_of("/" + std::string(65535, 'a')), nullptr);
}

struct facts {
  const char *text;
  int32_t coll_type;
  const char *relative;
  const char *root;     // "(none)"
  const char *location; // none: a code
  const char *parent;
  std::string segments;
  bool keyed_below_first;
};

// Names and decoded keys, a blank behind each segment.
std::string segments(zu_do_uri *uri) {
  std::string text;
  zu_do_uri_segment *segment = nullptr;
  for (size_t i = 0; i < zu_do_uri_get_segment_count(uri); ++i) {
    segment = zu_do_uri_get_segment(uri, i);
    text += zu_do_uri_segment_get_name(segment);
    zu_do_nvlist *keys = zu_do_uri_segment_get_keys(segment);
    zu_do_iter it;
    zu_do_nvlist_iter(keys, &it);
    while (zu_do_nvpair *pair = zu_do_nvlist_get_next(keys, &it)) {
      text += std::string(";") + zu_do_nvpair_get_name(pair) + "=" +
              zu_do_value_get_string(zu_do_nvpair_get_value(pair), nullptr);
    }
    text += " ";
  }
  EXPECT_EQ(zu_do_uri_get_segment_last(uri), segment);
  EXPECT_EQ(zu_do_uri_get_segment(uri, zu_do_uri_get_segment_count(uri)), nullptr);
  return text;
}

TEST(uris, tell_their_parts) {
  const facts cases[] = {
      {"//", 0, "/", "(none)", nullptr, "(none)", "", false},
      {"/b", 0, "/b", "/", "0", "/", "b ", false},
      {"/a/b;k=1/c", 0, "/a/b;k=1/c", "/", "0", "/a/b;k=1", "a b;k=1 c ", true},
      {"/a/b?x=1", 2, "/a/b?x=1", "/", "0", "/a/b", "a b ", false},
      {"//?locations", 1, "/?locations", "(none)", nullptr, "//", "", false},
      {"//l;loc=1/a/b;n=e", 0, "/a/b;n=e", "//l;loc=1/", "1", "//l;loc=1/a", "l;loc=1 a b;n=e ", true},
      {"//l;a=%2F1;b=2/s", 0, "/s", "//l;a=%2F1;b=2/", "/1", "//l;a=%2F1;b=2", "l;a=/1;b=2 s ", false},
      {"//l/s", 0, "/s", "//l/", nullptr, "//l", "l s ", false},
  };
  for (const facts &row : cases) {
    SCOPED_TRACE(row.text);
    own_uri uri = uri_of(row.text);
    ASSERT_NE(uri, nullptr);
    EXPECT_EQ(zu_do_uri_get_coll_type(uri.get()), row.coll_type);
    EXPECT_EQ(text_of(own_uri(zu_do_uri_new_relative(row.text)).get()), row.relative);
    EXPECT_EQ(text_of(own_uri(zu_do_uri_new_absolute_root_from_uri(uri.get())).get()), row.root);
    char location[16] = "?";
    EXPECT_EQ(zu_do_uri_get_location_str(uri.get(), location, sizeof location) == 0, row.location != nullptr);
    if (row.location != nullptr) {
      EXPECT_STREQ(location, row.location);
      EXPECT_EQ(zu_do_uri_get_location_str(uri.get(), location, strlen(row.location) + 1), 0);
      EXPECT_NE(zu_do_uri_get_location_str(uri.get(), location, strlen(row.location)), 0);
    }
    EXPECT_EQ(text_of(zu_do_uri_get_parent_uri(uri.get())), row.parent);
    EXPECT_EQ(segments(uri.get()), row.segments);
    zu_do_uri_parts parts;
    offered.uri_parts(uri.get(), &parts);
    EXPECT_EQ(parts.keyed_below_first, row.keyed_below_first);
  }
}

TEST(uris, make_collections_as_their_texts_do) {
  for (const char *parent_text : {"/", "//", "//l;loc=1", "//l;loc=1/sys/ifc;name=e0"}) {
    SCOPED_TRACE(parent_text);
    own_uri parent = uri_of(parent_text), made(zu_do_uri_new_coll(parent.get(), "ifc"));
    own_uri read = uri_of(std::string(parent_text) + "?ifc");
    EXPECT_EQ(text_of(made.get()), text_of(read.get()));
    zu_do_uri_parts a{}, b{};
    offered.uri_parts(made.get(), &a);
    offered.uri_parts(read.get(), &b);
    EXPECT_EQ(std::tie(a.relative, a.parent, a.end, a.relative_ok, a.has_segment),
              std::tie(b.relative, b.parent, b.end, b.relative_ok, b.has_segment));
    for (const char *bad : {"", "a b", "a/b", "a=1", "a?"}) {
      EXPECT_EQ(zu_do_uri_new_coll(parent.get(), bad), nullptr);
    }
    EXPECT_EQ(zu_do_uri_new_coll(made.get(), "x"), nullptr);
  }
}

} // namespace
