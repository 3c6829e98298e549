// URI templates: what a text parses to, and what it resolves to over records and groups in scope.
#include <gtest/gtest.h>

#include "render/find_record.hpp"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/records.hpp"

namespace {

using uri_template = tvr::unique<zu_tvr_uri, zu_tvr_uri_delete>;

std::string describe(const zu_tvr_uri *uri) {
  const std::string head = std::to_string(uri->kind) + (uri->relative != 0 ? " relative " : " ");
  if (uri->is_dynamic == 0) return head + zu_do_uri_get_uri_str(uri->data.uri);
  const zu_tvr_dyn_uri *segment = uri->data.dyn;
  std::string text = head + "$!#"[segment->sep_type] + " " + zu_do_name_get_strname(segment->ref_name);
  for (size_t i = 0; i < zu_do_nlist_get_len(segment->keys); ++i) {
    text += std::string(" ") + zu_do_name_get_strname(zu_do_nlist_get(segment->keys, i));
  }
  if (segment->tail != nullptr) text += std::string(" tail ") + segment->tail;
  if (segment->parent != nullptr) text += " < " + describe(segment->parent);
  return text;
}

TEST(uri_template, parses) {
  const struct {
    const char *text;
    const char *expected;
  } cases[] = {
      {"/", "107 /"},
      {"/a/b", "107 /a/b"},
      {"/a/b?c", "108 /a/b?c"},
      {"a/b", "107 relative /a/b"},
      {"/a/b;k=$", "107 $ b k < 107 /a"},
      {"/a/b;unit=0;k=$", "107 $ b k < 107 /a"},
      {"/a/b;k=$?c", "108 $ b k tail ?c < 107 /a"},
      {"/a/b;k=$;", "107 $ b k < 107 /a"},
      {"/a/b;k=$;u=1", "107 $ b k tail ;u=1 < 107 /a"},
      {"/x/y;name=#/z", "107 # y name tail /z < 107 /x"},
      {"ifc;name=!", "107 relative ! ifc name"},
      {"//a;x=$", "107 $ a x < 107 /"},
      {"/a;x=$/b;y=$", "107 $ b y < 107 $ a x < 107 /"},
      {"//locations;loc=$/sys/ifc;name=!", "107 ! ifc name < 107 $ locations loc tail /sys < 107 //"},
      {"/a;k=$?c=1/b;k=!", "107 ! b k < 108 $ a k tail ?c=1 < 107 /"},
  };
  for (const auto &one : cases) {
    SCOPED_TRACE(one.text);
    const test::balanced_memory balanced;
    const test::trace_log traces;
    const uri_template uri(zu_tvr_uri_new(one.text));
    ASSERT_TRUE(uri);
    EXPECT_EQ(describe(uri.get()), one.expected);
    EXPECT_EQ(traces.text(), "");
  }
}

TEST(uri_template, refuses) {
  const std::string incorrect = "3 (ERR): partial/incorrect URI detected \n";
  const auto dynamic = [&](const std::string &text) {
    return incorrect + "3 (ERR): Failed to allocate dynamic URI " + text +
           " (dynamic: " + text.substr(text.find_last_of("$!#")) + ")\n";
  };
  const struct {
    std::string text;
    std::string traces;
  } cases[] = {
      {"/a//b", "3 (ERR): Failed to allocate do_uri from /a//b\n"},
      {"$", "3 (ERR): Failed to allocate do_uri from $\n"},
      {"/a/;k=$", dynamic("/a/;k=$")},
      {"k=$", dynamic("k=$")},
      {"/a/b/k=$", dynamic("/a/b/k=$")},
      {"/a/b;k=$$", dynamic("/a/b;k=$$")},
      {"/a/b;a=!,b=$", dynamic("/a/b;a=!,b=$")},
      {"/a/b;=$", dynamic("/a/b;=$")},
      {"/a/b;k$", dynamic("/a/b;k$")},
      {"/a//b;k=$", "3 (ERR): Failed to allocate do_uri from /a/\n3 (ERR): Failed to allocate parent URI\n"
                    "3 (ERR): Failed to allocate dynamic URI /a//b;k=$ (dynamic: $)\n"},
  };
  for (const auto &one : cases) {
    SCOPED_TRACE(one.text);
    const test::balanced_memory balanced;
    const test::trace_log traces;
    EXPECT_EQ(zu_tvr_uri_new(one.text.c_str()), nullptr);
    EXPECT_EQ(traces.text(), one.traces);
  }
  const test::trace_log traces;
  EXPECT_EQ(zu_tvr_uri_new(nullptr), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Missing URI in call to zu_tvr_uri constructor\n");
  zu_tvr_uri_delete(nullptr);
}

TEST(uri_template, takes_64_dynamic_segments) {
  const test::balanced_memory balanced;
  const test::trace_log traces;
  std::string text = "/r";
  for (int i = 0; i < 64; ++i) text += "/s" + std::to_string(i) + ";k=$";
  EXPECT_TRUE(uri_template(zu_tvr_uri_new(text.c_str())));
  EXPECT_EQ(traces.text(), "");
  EXPECT_FALSE(uri_template(zu_tvr_uri_new((text + "/s;k=$").c_str())));
  EXPECT_EQ(traces.count("partial/incorrect URI detected"), 1);
}

// ---- Resolution ----

struct scope {
  std::vector<test::record_text> records; // pushed in order: the last is the innermost
  std::vector<test::record_text> groups;  // the first record of each
};

class scope_walk : public test::fake_walk {
public:
  explicit scope_walk(const scope &given) {
    for (const auto &one : given.records) {
      made_.push_back(std::make_unique<test::made_record>(one, false));
      EXPECT_EQ(zu_tvr_push_props_to_cache(ctx(), made_.back()->get(), 0, 0), 1u);
    }
    for (const auto &one : given.groups) {
      made_.push_back(std::make_unique<test::made_record>(one, false));
      EXPECT_TRUE(zu_tvr_push_props_group_to_cache(ctx(), made_.back()->get(), 0));
    }
  }

private:
  std::vector<std::unique_ptr<test::made_record>> made_;
};

// Besides what the golden cases of URIs show.
TEST(uri_template, resolves) {
  const std::string failed = "3 (ERR): Failed to resolve one or more keys in URI\n";
  const std::string no_record = "3 (ERR): Could not find props for URI resolution\n" + failed;
  const struct {
    const char *text;
    scope stacks;
    std::string expected; // the URI, or the traces of errors
  } cases[] = {
      {"/a/b;k=$",
       {{{"", "/a?b", {{"k", "1"}}}, {"", "/a?b", {{"k", "2"}}}, {"", "/a?bc", {{"k", "3"}}}}, {}},
       "/a/b;k=2"},
      {"/a/b;k=$/c?d", {{{"", "/a?b", {{"k", "\"x/y z\""}}}}, {}}, "/a/b;k=x%2Fy%20z/c?d"},
      {"//a;x=$", {{{"", "/?a", {{"x", "1"}}}}, {}}, "/a;x=1"},
      {"b;k=$", {{{"", "/?b", {{"k", "1"}}}}, {}}, "/b;k=1"},
      {"ifc;name=#",
       {{{"", "/ifc", {{"name", "\"no\""}}}}, {{"", "/ifc?x", {{"name", "\"e0\""}}}}},
       "/ifc;name=e0"},
      {"/a;x=$/b;y=$", {{{"", "/?a", {{"x", "\"\""}}}, {"", "/a;x=?b", {{"y", "2"}}}}, {}}, "/a;x=/b;y=2"},
      // What the URI's constructor changes or refuses is as it says.
      {"/a/b;k=$/c;d=%41 ", {{{"", "/a?b", {{"k", "1"}}}}, {}}, "/a/b;k=1/c;d=A"},
      {"/a/b;k=$;k=2", {{{"", "/a?b", {{"k", "1"}}}}, {}}, "3 (ERR): Failed to allocate URI\n"},
      {"/a?q/b;k=$", {{{"", "/a?b", {{"k", "1"}}}}, {}}, "3 (ERR): Failed to allocate string\n" + no_record},
      // Failures.
      {"/a/b;k=$",
       {{{"", "/a?c", {}}, {"/a?b", "", {{"k", "1"}}}}, {}},
       "3 (ERR): no match for /a?b\n" + no_record},
      {"b;k=$", {{{"", "/x", {}}}, {}}, "3 (ERR): no match for ?b\n" + no_record},
      {"/x/y;name=#/z",
       {{{"", "/x/y", {{"name", "1"}}}}, {{"", "/x/y", {{"name", "1"}}}}},
       "3 (ERR): no match for /y\n" + no_record},
      {"//locations;loc=$/sys/ifc;name=!",
       {{{"", "//?locations", {{"loc", "1"}}}}, {}},
       "3 (ERR): no match for sys/ifc\n" + no_record},
      {"/a/b;k=$", {{{"", "/a?b", {{"j", "1"}}}}, {}}, "3 (ERR): Unable to find k in cache\n" + failed},
      {"/a/b;k=$",
       {{{"", "/a?b", {{"k", "null"}}}}, {}},
       "3 (ERR): Failed to add key value to buffer\n" + failed},
      {"/a;x=$/b;y=$",
       {{{"", "/?a", {{"z", "1"}}}}, {}},
       "3 (ERR): Unable to find x in cache\n3 (ERR): Failed to resolve parent URI segment\n" + failed},
  };
  for (const auto &one : cases) {
    SCOPED_TRACE(std::string(one.text) + " => " + one.expected);
    const test::balanced_memory balanced;
    const uri_template uri(zu_tvr_uri_new(one.text));
    ASSERT_TRUE(uri);
    scope_walk walk(one.stacks);
    const test::trace_log traces(4);
    const auto made = tvr::ref<zu_do_uri>::adopt(uri->resolve(uri.get(), walk.ctx()));
    EXPECT_EQ(made ? zu_do_uri_get_uri_str(made.get()) : traces.text(), one.expected);
    EXPECT_EQ(walk.error_text(), "");
  }
}

TEST(uri_template, most_look_ups_need_no_uri_to_be_made) {
  for (const char *text :
       {"/a/b;k=$", "ifc;name=!", "/b;k=$", "/a/b;k=$?c", "//locations;loc=$/sys/ifc;name=!"}) {
    const uri_template uri(zu_tvr_uri_new(text));
    const zu_tvr_uri_program &program = *uri->program;
    EXPECT_TRUE(program.canonical) << text;
    for (uint32_t i = 0; i < program.step_count; ++i) EXPECT_TRUE(program.steps[i].canonical) << text;
  }
}

TEST(uri_template, tells_a_missing_key_from_other_failures) {
  scope_walk walk({{{"", "/a?b", {{"j", "1"}}}}, {}});
  for (const auto &[text, status] :
       {std::pair("/a/b;k=$", ZU_NOT_FOUND), {"/a/b;k=$/c;j=$", ZU_NOT_FOUND}, {"/z/b;k=$", ZU_FAILED}}) {
    const uri_template uri(zu_tvr_uri_new(text));
    const tvr::string_buffer buffer(zu_do_strbuf_new());
    auto *segment = uri->data.dyn;
    EXPECT_EQ(segment->resolve_keys(segment, 0, walk.ctx(), buffer.get()), status) << text;
  }
}

TEST(uri_template, traces_its_steps) {
  const test::trace_log traces(7);
  const uri_template uri(zu_tvr_uri_new("/a/b;k=$/t"));
  scope_walk walk({{{"", "/a?b", {{"k", "1"}}}}, {}});
  const auto made = tvr::ref<zu_do_uri>::adopt(uri->resolve(uri.get(), walk.ctx()));
  EXPECT_EQ(traces.text(), "7 (debug): uri new: /a/b;k=$/t\n7 (debug): dynamic uri tail: /t\n"
                           "7 (debug): dynamic uri key: k\n7 (debug): dynamic uri ref name: b\n"
                           "7 (debug): dynamic uri parent: /a\n7 (debug): uri new: /a\n"
                           "7 (debug): static uri: /a\n7 (debug): uri: attempting dynamic key resolution\n"
                           "7 (debug): uri: resolving keys after b k\n7 (debug): stack lookup: /a?b\n"
                           "7 (debug): stack match: /a?b\n7 (debug): uri resolved to /a/b;k=1/t\n");
}

// ---- Operations that a host replaced, and what is called directly ----

TEST(uri_template, goes_on_behind_text_that_the_buffer_holds) {
  scope_walk walk({{{"", "/x/a?b", {{"k", "1"}}}, {"", "/b", {{"k", "2"}}}}, {}});
  const tvr::string_buffer buffer(zu_do_strbuf_new());
  const auto resolve = [&](const char *text, const char *before, uint8_t relative) {
    const uri_template uri(zu_tvr_uri_new(text));
    zu_do_strbuf_clear(buffer.get());
    zu_do_strbuf_add_string(buffer.get(), before);
    auto *segment = uri->data.dyn;
    const int32_t status = segment->resolve_keys(segment, relative, walk.ctx(), buffer.get());
    return std::to_string(status) + " " + zu_do_strbuf_to_string(buffer.get());
  };
  EXPECT_EQ(resolve("/a/b;k=$", "/x", 0), "0 /x/a/b;k=1");
  EXPECT_EQ(resolve("b;k=!", "", 1), "0 /b;k=2");
  EXPECT_EQ(resolve("b;k=!", "", 0), "10000 "); // without a location there is no path behind it
  EXPECT_EQ(resolve("b;k=!", "//l", 0), "10000 //l");
  const uri_template several(zu_tvr_uri_new("/x/a/b;k=$")), shortened(zu_tvr_uri_new("/a;j=$/b;k=$"));
  zu_do_nlist_add(several->data.dyn->keys, test::name_of("k").get()); // a host's own list of keys
  const auto made = tvr::ref<zu_do_uri>::adopt(several->resolve(several.get(), walk.ctx()));
  EXPECT_EQ(made.get(), nullptr); // no URI has a key twice, but both were written
  shortened->data.dyn->parent->data.dyn->resolve_keys = [](auto *, uint8_t, auto *, auto *text) -> int32_t {
    zu_do_strbuf_clear(text);
    return 0;
  };
  auto *segment = shortened->data.dyn;
  EXPECT_NE(segment->resolve_keys(segment, 0, walk.ctx(), buffer.get()), 0);
}

TEST(uri_template, calls_what_a_host_put_in_its_place) {
  scope_walk walk({{{"/x;k=9/b;k=1", "/x;k=9?b", {{"k", "1"}}}}, {}});
  const uri_template uri(zu_tvr_uri_new("/a;k=$/b;k=$"));
  uri->data.dyn->parent->data.dyn->resolve_keys = [](auto *, uint8_t, auto *, auto *buffer) -> int32_t {
    return zu_do_strbuf_add_string(buffer, "/x;k=9");
  };
  EXPECT_NE(tvr::find_record(uri.get(), walk).record, nullptr);
  uri->resolve = [](auto *, auto *) { return zu_do_uri_new("/nowhere"); };
  EXPECT_EQ(tvr::find_record(uri.get(), walk).record, nullptr);
  uri->resolve = [](auto *, auto *) { return zu_do_uri_new("/x;k=9/b;k=1"); };
  EXPECT_NE(tvr::find_record(uri.get(), walk).record, nullptr);
  walk->props_cache->compare = [](void *, void *, void *) { return false; };
  EXPECT_EQ(tvr::find_record(uri.get(), walk).record, nullptr);
}

// Templates of one text share what they resolve to, but not with one of which a host replaced an operation.
TEST(uri_template, shares_nothing_with_what_a_host_replaced) {
  scope_walk walk({{{"/a;k=1", "/?a", {{"k", "1"}}}, {"/a;k=2", "/?a", {{"k", "2"}}}}, {}});
  const tvr::unique<zu_tvr_uri_programs, tvr::uri_programs_delete> programs(tvr::uri_programs_new());
  const uri_template plain(tvr::uri_new_shared("/a;k=$", programs.get()));
  const uri_template replaced(tvr::uri_new_shared("/a;k=$", programs.get()));
  ASSERT_EQ(plain->program, replaced->program);
  const auto found = [&](const uri_template &uri) {
    return std::string(tvr::find_record(uri.get(), walk).uri);
  };
  const std::string top = found(plain);
  replaced->data.dyn->resolve_keys = [](auto *, uint8_t, auto *, auto *buffer) -> int32_t {
    return zu_do_strbuf_add_string(buffer, "/a;k=1");
  };
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(found(replaced), "/a;k=1");
    EXPECT_EQ(found(plain), top);
  }
  EXPECT_EQ(top, "/a;k=2");
}

// ---- Records named by templates ----

// A template that is made where another one was is another one.
TEST(uri_template, is_not_taken_for_one_that_is_gone) {
  scope_walk walk({{{"/a;k=1", "/?a", {{"k", "1"}}}, {"/b;k=2", "/?b", {{"k", "2"}}}}, {}});
  for (int i = 0; i < 20; ++i) {
    for (const char *text : {"/a;k=1", "/b;k=2", "/a;k=$", "/b;k=$"}) {
      const uri_template uri(zu_tvr_uri_new(text));
      const auto found = tvr::find_record(uri.get(), walk);
      EXPECT_EQ(std::string(found.uri).substr(0, 2), std::string(text).substr(0, 2));
      EXPECT_EQ(zu_do_properties_get_int(found.record, "k", nullptr), text[1] == 'a' ? 1 : 2);
    }
  }
}

// What was found is remembered while nothing changed, and what changed is seen at once.
TEST(uri_template, finds_what_the_records_hold_now) {
  scope_walk walk({{{"/a/b;k=1", "/a?b", {{"k", "1"}}}}, {}});
  const uri_template uri(zu_tvr_uri_new("/a/b;k=$"));
  auto *outer = static_cast<zu_do_properties *>(walk->props_cache->top->item);
  const auto find = [&] { return tvr::find_record(uri.get(), walk).record; };
  EXPECT_EQ(find(), outer);
  EXPECT_EQ(find(), outer);

  zu_do_properties_set_int(outer, "k", 2); // the key
  EXPECT_EQ(find(), nullptr);
  const auto moved = tvr::ref<zu_do_uri>::adopt(zu_do_uri_new("/a/b;k=2")); // its own URI
  zu_do_properties_set_mr_uri(outer, ZU_DO_NAME_URI, moved.get());
  EXPECT_EQ(find(), outer);

  const test::made_record inner({"/a/b;k=2", "", {}}, false); // pushed by the plain operation of the stack
  zu_tvr_stack_push(walk->props_cache, inner.get());
  EXPECT_EQ(find(), inner.get());
  zu_do_properties_set_int(inner.get(), ZU_DO_NAME_URI, 5); // no longer a URI: an error each time
  const test::trace_log traces;
  EXPECT_EQ(find(), outer);
  EXPECT_EQ(find(), outer);
  EXPECT_EQ(traces.count("Failed to read uri from value"), 2);
  zu_tvr_stack_pop(walk->props_cache);
}

} // namespace
