// Names, values, lists, records, tables and string buffers.
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "support/objects.hpp"
#include "zuapi/layout.hpp"

using namespace test;

namespace {

TEST(names, are_interned_and_trimmed) {
  balanced_memory balanced;
  own_name a(zu_do_name_new(" mod:mtu\t"));
  own_name b(zu_do_name_new_l("mod:mtu;", 7));
  EXPECT_EQ(a.get(), b.get());
  EXPECT_STREQ(zu_do_name_get_strname(a.get()), "mod:mtu");
  EXPECT_STREQ(zu_do_name_get_unqualified(a.get()), "mtu");
  EXPECT_TRUE(zu_do_name_equals_w_strname(a.get(), "mod:mtu"));
  EXPECT_FALSE(zu_do_name_equals_w_strname(a.get(), "mod:mt"));
  own_name known(zu_do_name_new(ZU_DO_NAME_URI));
  EXPECT_EQ(known.get(), zuapi::name_of_uri());
  for (const char *text : {"", "  \t "}) EXPECT_EQ(zu_do_name_new(text), nullptr);
  EXPECT_EQ(zu_do_name_new(nullptr), nullptr);
  EXPECT_EQ(zu_do_name_new_l("a\0b", 3), nullptr);
}

TEST(names, live_while_any_thread_holds_them) {
  balanced_memory balanced;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 20000; ++i) {
        const std::string text = "tvr" + std::to_string(i % 7);
        own_name name(zu_do_name_new(text.c_str()));
        own_name again(zu_do_name_new(text.c_str()));
        ASSERT_EQ(name.get(), again.get());
        ASSERT_EQ(text, zu_do_name_get_strname(name.get()));
      }
    });
  }
  for (auto &thread : threads) thread.join();
}

TEST(values_from_json, accepts) {
  using namespace std::string_view_literals;
  const struct {
    std::string_view text;
    int32_t type;
    std::string_view shown;
    std::string_view typedef_name = "";
  } cases[] = {
      {" \t\r\n1 ", 102, "1"},
      {"-9223372036854775808", 102, "-9223372036854775808"},
      {"9223372036854775808", 103, "9223372036854775808"},
      {"-0", 102, "0"},
      {"-0.0", 104, "-0"},
      {"0.1", 104, "0.1"},
      {"1E+300", 104, "1e+300"},
      {"2.5e-400", 104, "0"},
      {"-0.0200000000000000000050", 104, "-0.02"},
      {"0.00001e-99999999999999999999", 104, "0"},
      {"false", 101, "false"},
      {"null", 100, ""},
      {"\"\"", 105, ""},
      {R"("\"\\\/\t")", 105, "\"\\/\t"},
      {R"("\n\r\b\f\u007f")", 105, R"(\x0A\x0D\x08\x0C\x7F)"},
      {R"({"Text":"a\nb\r"})", 105, "a\nb\\x0D", "Text"},
      {R"("\u00e9\u20ac\ud83d\ude00")", 105, "\u00e9\u20ac\U0001f600"},
      {"\"\u00e9\u20ac\U0001f600\"", 105, "\u00e9\u20ac\U0001f600"},
      {"[]", 106, ""},
      {"[1, \"a\" ,true,[2,3]]", 106, "1,a,true,2,3"},
      {"[null,1,null]", 106, ",1"},
      {R"(["\u0001",{"Text":"\n"}])", 106, "\\x01,\n"},
      {R"({ "A\u0042" : {"C":{"v":7}} })", 102, "7", "AB"},
      {R"({"v":{"C":7}})", 102, "7", "C"},
      {R"({"A\\":"b\\c"})", 105, "b\\c", "A\\"},
      {R"({"T":null})", 100, "", "T"},
      {R"({"PasswordString":["x"]})", 106, "x", "PasswordString"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    balanced_memory balanced;
    own_value value = json(row.text);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(zu_do_value_get_type(value.get()), row.type);
    EXPECT_EQ(display(value.get()), row.shown);
    const char *typedef_name = zu_do_value_get_typedef_name(value.get());
    EXPECT_EQ(typedef_name == nullptr ? "" : typedef_name, row.typedef_name);
    char room[ZU_DO_VALUE_ROOM];
    size_t length = 0;
    const char *text = zu_do_value_display(value.get(), room, &length);
    EXPECT_TRUE(text == nullptr || (text == row.shown && length == row.shown.size()));
  }
}

std::string nested(int depth) {
  return std::string(depth, '[') + "1" + std::string(depth, ']');
}

TEST(values_from_json, refuses_with_the_position) {
  using namespace std::string_literals;
  const struct {
    std::string text;
    const char *message;
  } cases[] = {
      {"", "the document is empty at byte 0"},
      {" \t", "the document is empty at byte 2"},
      {"1 2", "text after the end of the document at byte 2"},
      {"1,2", "text after the end of the document at byte 1"},
      {"1],[2", "text after the end of the document at byte 1"},
      {"]", "expected a value at byte 0"},
      {" 18446744073709551616", "a number out of range at byte 1"},
      {"0.001e999999999999999999999", "a number out of range at byte 0"},
      {"[1, \"a\\u0000\"]", "a string holds a NUL at byte 4"},
      {"\"a\0\""s, "control character in a string at byte 2"},
      {"{}", "an object as a value must have exactly one member at byte 0"},
      {"[{\"a\":1,\"b\":2}]", "an object as a value must have exactly one member at byte 1"},
      {"{\"\":1}", "a typedef name is empty at byte 1"},
      {"{\"a\\u0000\":1}", "a name holds a NUL at byte 1"},
      {nested(65), "nested deeper than 64 levels at byte 64"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    balanced_memory balanced;
    zu_do_error *error = nullptr;
    EXPECT_EQ(zu_do_value_from_json(row.text.data(), row.text.size(), &error), nullptr);
    own_error held(error);
    EXPECT_EQ(zu_do_error_get_code(error), ZU_FAILED);
    EXPECT_STREQ(zu_do_error_get_msg(error), row.message);
  }
  EXPECT_NE(json(nested(64)), nullptr);
}

TEST(values, key_form) {
  const struct {
    const char *text;
    const char *key; // none: it has no key form
  } cases[] = {
      {R"("aZ09-._~:@+,*()[]|")", "aZ09-._~:@+,*()[]|"},
      {R"("a/b;c=d?e%f g!")", "a%2Fb%3Bc%3Dd%3Fe%25f%20g%21"},
      {R"("\n\u00e9")", "%0A%C3%A9"},
      {R"("")", ""},
      {R"({"Text":"a"})", "a"},
      {"-5", "-5"},
      {"true", "true"},
      {"1e300", "1e+300"},
      {"null", nullptr},
      {"[1]", nullptr},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    own_value value = json(row.text);
    own_buffer buffer(zu_do_strbuf_new());
    EXPECT_EQ(zu_do_uri_value_to_keystr(value.get(), buffer.get()) == 0, row.key != nullptr);
    if (row.key != nullptr) {
      EXPECT_EQ(text_of(buffer.get()), row.key);
    }
  }
  own_buffer buffer(zu_do_strbuf_new());
  own_uri uri(zu_do_uri_new("/a;k=b c?q"));
  own_value value(zu_do_value_new_mr_uri(uri.get()));
  EXPECT_EQ(zu_do_uri_value_to_keystr(value.get(), buffer.get()), 0);
  EXPECT_EQ(text_of(buffer.get()), "%2Fa%3Bk%3Db%2520c%3Fq");
  EXPECT_NE(zu_do_uri_value_to_keystr(nullptr, buffer.get()), 0);
}

TEST(values, getters_convert_nothing) {
  const own_value number = json("7"), text = json("\"7\""), big = json("18446744073709551615");
  int codes[8] = {};
  EXPECT_EQ(zu_do_value_get_int(number.get(), &codes[0]), 7);
  EXPECT_EQ(zu_do_value_get_uint(number.get(), &codes[1]), 7u);
  EXPECT_EQ(zu_do_value_get_uint(big.get(), &codes[2]), UINT64_MAX);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(codes[i], ZU_OK);
  EXPECT_EQ(zu_do_value_get_int(text.get(), &codes[3]), 0);
  EXPECT_EQ(zu_do_value_get_string(number.get(), &codes[4]), nullptr);
  EXPECT_EQ(zu_do_value_get_int(big.get(), &codes[5]), 0);
  EXPECT_EQ(zu_do_value_get_double(number.get(), &codes[6]), 0);
  EXPECT_EQ(zu_do_value_get_array(nullptr, &codes[7]), nullptr);
  for (int i = 3; i < 8; ++i) EXPECT_EQ(codes[i], ZU_FAILED);
}

TEST(values, take_a_typedef_and_default_later) {
  balanced_memory balanced;
  for (const char *text : {"5", "\"a\\nb\"", "[1,null,2]", "null", "true", "1.5"}) {
    SCOPED_TRACE(text);
    own_value plain = json(text);
    own_value typed(zu_do_value_new_as(plain.get(), "Text", true));
    EXPECT_TRUE(zu_do_value_equals(plain.get(), typed.get()));
    EXPECT_STREQ(zu_do_value_get_typedef_name(typed.get()), "Text");
    EXPECT_TRUE(zu_do_value_is_default(typed.get()));
    own_value back(zu_do_value_new_as(typed.get(), nullptr, false));
    EXPECT_EQ(zu_do_value_get_typedef_name(back.get()), nullptr);
    EXPECT_FALSE(zu_do_value_is_default(back.get()));
    EXPECT_EQ(display(back.get()), display(plain.get()));
  }
}

// The order of all: each is below the next; those in one group are equal.
TEST(values, have_one_order) {
  own_uri uri(zu_do_uri_new("/b"));
  std::vector<std::vector<own_value>> groups;
  const auto group = [&groups](std::initializer_list<const char *> texts, zu_do_value *more = nullptr) {
    groups.emplace_back();
    for (const char *text : texts) groups.back().push_back(json(text));
    if (more != nullptr) groups.back().emplace_back(more);
  };
  for (const char *alone : {"null", "false", "true"}) group({alone});
  group({}, zu_do_value_new_double(std::nan("")));
  group({}, zu_do_value_new_double(-std::numeric_limits<double>::infinity()));
  group({"-1e19"});
  group({"-9223372036854775808", "-9223372036854775808.0"});
  group({"-1.5"});
  group({"0", "-0.0", "{\"T\":0}"});
  group({"0.5"});
  group({"9007199254740992", "9007199254740992.0"});
  group({"9007199254740993"});
  group({"9223372036854775807"});
  group({"9223372036854775808", "9223372036854775808.0"});
  group({"18446744073709551615"});
  group({"18446744073709551616.0"});
  group({"\"10\""});
  group({"\"9\"", "{\"T\":\"9\"}"});
  group({"\"9 \""});
  group({"\"\u00e9\""});
  group({}, zu_do_value_new_mr_uri(uri.get()));
  group({"[1,[null,2]]", "[1.0,[null,{\"T\":2}]]"});
  group({"[2]"});
  for (size_t i = 0; i < groups.size(); ++i) {
    for (size_t j = 0; j < groups.size(); ++j) {
      for (const own_value &a : groups[i]) {
        for (const own_value &b : groups[j]) {
          SCOPED_TRACE(display(a.get()) + " and " + display(b.get()));
          EXPECT_EQ(zu_do_value_compare(a.get(), b.get()), i < j ? -1 : i > j ? 1 : 0);
          EXPECT_EQ(zu_do_value_equals(a.get(), b.get()), i == j);
        }
      }
    }
  }
  // Tied, yet not equal.
  own_value as_collection(zu_do_value_new_coll_uri(uri.get())), as_record(zu_do_value_new_mr_uri(uri.get()));
  const std::pair<own_value, own_value> tied[] = {{json("null"), own_value(zu_do_value_new_none())},
                                                  {json("[1,2]"), json("[\"1,2\"]")},
                                                  {std::move(as_collection), std::move(as_record)}};
  for (const auto &[a, b] : tied) {
    EXPECT_EQ(zu_do_value_compare(a.get(), b.get()), 0);
    EXPECT_FALSE(zu_do_value_equals(a.get(), b.get()));
  }
}

TEST(string_buffers, grow_truncate_and_stay_failed) {
  balanced_memory balanced;
  own_buffer buffer(zu_do_strbuf_new());
  EXPECT_EQ(text_of(buffer.get()), "");
  zu_do_strbuf_add_tab(buffer.get(), 2);
  zu_do_strbuf_add_long(buffer.get(), INT64_MIN);
  zu_do_strbuf_add_char(buffer.get(), '.');
  zu_do_strbuf_add_string(buffer.get(), nullptr);
  EXPECT_EQ(text_of(buffer.get()), "\t\t-9223372036854775808.");
  std::string wanted;
  zu_do_strbuf_clear(buffer.get());
  for (int i = 0; i < 1000; ++i) {
    wanted += std::to_string(i);
    EXPECT_EQ(zu_do_strbuf_add_long(buffer.get(), i), 0);
  }
  EXPECT_EQ(text_of(buffer.get()), wanted);
  zu_do_strbuf_truncate(buffer.get(), 5000);
  zu_do_strbuf_truncate(buffer.get(), 3);
  EXPECT_EQ(text_of(buffer.get()), "012");

  qmalloc_fail_nth(1, false);
  EXPECT_EQ(zu_do_strbuf_add_fill(buffer.get(), 'x', 100000), ZU_EXHAUSTED);
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(zu_do_strbuf_add_char(buffer.get(), 'y'), ZU_EXHAUSTED);
  EXPECT_EQ(zu_do_strbuf_add_bytes(buffer.get(), "", 0), ZU_EXHAUSTED);
  zu_do_strbuf_truncate(buffer.get(), 0);
  EXPECT_EQ(zu_do_strbuf_to_string(buffer.get()), nullptr);
  EXPECT_EQ(zu_do_strbuf_add_fill(buffer.get(), 'x', SIZE_MAX), ZU_EXHAUSTED);
  zu_do_strbuf_clear(buffer.get());
  EXPECT_EQ(zu_do_strbuf_add_string(buffer.get(), "again"), 0);
  EXPECT_EQ(text_of(buffer.get()), "again");
}

TEST(formatted_texts, give_their_length) {
  char *text = nullptr;
  EXPECT_EQ(__tessel_asprintf(&text, "%d %s", 7, "x"), 3);
  EXPECT_STREQ(text, "7 x");
  qfree_unnamed(text);
  EXPECT_EQ(__tessel_asprintf(&text, "%*d", 5000, 1), 5000);
  EXPECT_EQ(std::string_view(text).find('1'), 4999u);
  qfree_unnamed(text);
  qmalloc_fail_nth(1, false);
  EXPECT_LT(__tessel_asprintf(&text, "x%d", 1), 0);
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(text, nullptr);
}

// A frozen record as a store places it: hostname and a typed secret, beside its URI.
class frozen_row {
public:
  frozen_row() {
    using namespace zuapi;
    zu_do_name *const names[] = {name_of_uri(), hostname.get(), secret.get()};
    form = shape_place(shape_block, names, nullptr, 3);
    uri_scan scan;
    EXPECT_EQ(uri_scan_text("/system;id=1", 12, &scan), nullptr);
    uri = uri_place_frozen(uri_block, scan);
    record = store_record_place(row_block, form, uri);
    record->cells()[1] = cell_string("edge", 4);
    record->cells()[2] = cell_string("key", 3);
    cell_set_typedef(record->cells()[2], &typed, "PasswordString");
    EXPECT_LE(shape_size(3), sizeof shape_block);
    EXPECT_LE(uri_size(scan), sizeof uri_block);
    EXPECT_LE(store_record_size(3), sizeof row_block);
  }
  ~frozen_row() { zuapi::uri_drop(uri); }

  own_name hostname{zu_do_name_new("hostname")};
  own_name secret{zu_do_name_new("secret")};
  zuapi::shape *form;
  zu_do_uri *uri;
  zuapi::store_record *record;

private:
  zuapi::typed_payload typed;
  alignas(8) unsigned char shape_block[256];
  alignas(8) unsigned char uri_block[128];
  alignas(8) unsigned char row_block[128];
};

std::string debug_text(zu_do_properties *record) {
  own_buffer buffer(zu_do_strbuf_new());
  EXPECT_EQ(zu_do_properties_to_strbuf(record, 0, buffer.get()), 0);
  return text_of(buffer.get());
}

// Columns as the row's, but not its shape's: records made with them have entries of their own.
own_columns columns_of(zuapi::store_record *row) {
  own_columns columns(zu_do_ntlist_new());
  for (uint32_t i = 0; i < row->form->columns.length; ++i) {
    zu_do_ntlist_add(columns.get(), row->form->columns.items[i].name, ZU_DO_TYPE_NONE);
  }
  return columns;
}

TEST(records, views_answer_as_records_of_their_own) {
  frozen_row frozen;
  balanced_memory balanced;
  own_nlist names(zu_do_nlist_new_from_ntlist(&frozen.form->columns));
  own_columns columns = columns_of(frozen.record);
  own_record records[] = {
      own_record(zu_do_properties_new_from_row(&frozen.form->columns, &frozen.record->row)),
      own_record(zu_do_properties_new_from_vlist(names.get(), &frozen.record->row)),
      own_record(zu_do_properties_new_from_row(columns.get(), &frozen.record->row)),
  };
  EXPECT_EQ(zu_do_properties_get_shape(records[0].get()), frozen.form);
  EXPECT_EQ(zu_do_properties_get_shape(records[1].get()), frozen.form);
  EXPECT_EQ(zu_do_properties_get_shape(records[2].get()), nullptr);
  own_uri root(zu_do_uri_new("//locations;loc=3/system"));
  for (own_record &owned : records) {
    zu_do_properties *record = owned.get();
    EXPECT_EQ(debug_text(record), "_uri=/system;id=1, hostname=edge, secret=<removed>");
    EXPECT_EQ(zu_do_properties_get_value(record, "extra"), nullptr);
    EXPECT_EQ(zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, root.get()), 0);
    EXPECT_EQ(zu_do_properties_set_coll_uri(record, ZU_DO_NAME_COLL_URI, frozen.uri), 0);
    EXPECT_EQ(zu_do_properties_set_int(record, "extra", 5), 0);
    EXPECT_EQ(zu_do_properties_set_null(record, "hostname"), 0);
    EXPECT_EQ(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr), root.get());
    EXPECT_EQ(zu_do_properties_get_coll_uri(record, ZU_DO_NAME_COLL_URI, nullptr), frozen.uri);
    EXPECT_EQ(zu_do_properties_get_len(record), 5u);
    EXPECT_EQ(debug_text(record), "_uri=//locations;loc=3/system, hostname=, secret=<removed>, "
                                  "_coll_uri=/system;id=1, extra=5");
    // Set again and again: older values stay good for whoever took a reference.
    own_value taken(zu_do_value_ref(zu_do_properties_get_value(record, ZU_DO_NAME_URI)));
    EXPECT_EQ(zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, frozen.uri), 0);
    EXPECT_EQ(zu_do_properties_set_string(record, "hostname", "core"), 0);
    EXPECT_EQ(debug_text(record),
              "_uri=/system;id=1, hostname=core, secret=<removed>, _coll_uri=/system;id=1, extra=5");
    owned.reset();
    EXPECT_EQ(display(taken.get()), "//locations;loc=3/system");
  }
}

TEST(records, slots_give_what_names_give) {
  frozen_row frozen;
  own_record view(zu_do_properties_new_from_row(&frozen.form->columns, &frozen.record->row));
  EXPECT_EQ(zu_do_properties_get_at(view.get(), 1), &frozen.record->cells()[1]);
  zu_do_properties_set_int(view.get(), "hostname", 4);
  EXPECT_EQ(zu_do_properties_find_slot(view.get(), frozen.hostname.get()), 1);
  EXPECT_EQ(display(zu_do_properties_get_at(view.get(), 1)), "4");
  for (const int32_t bad : {-1, 3, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(zu_do_properties_get_at(view.get(), bad), nullptr);
  }
  own_record generic(zu_do_properties_new());
  EXPECT_EQ(zu_do_properties_find_slot(generic.get(), frozen.hostname.get()), -1);
}

TEST(records, take_a_row_over_what_they_have) {
  frozen_row frozen;
  balanced_memory balanced;
  own_uri asked(zu_do_uri_new("//locations;loc=0/system;id=1"));
  own_record record(zu_do_properties_new());
  zu_do_properties_set_string(record.get(), "hostname", "stale");
  zu_do_properties_set_coll_uri(record.get(), ZU_DO_NAME_COLL_URI, asked.get());
  zu_do_properties_set_mr_uri(record.get(), ZU_DO_NAME_URI, asked.get());
  const char *wanted = "_uri=//locations;loc=0/system;id=1, hostname=edge, secret=<removed>, "
                       "_coll_uri=//locations;loc=0/system;id=1";
  EXPECT_EQ(zuapi::properties_add_record(record.get(), frozen.record), 0);
  EXPECT_EQ(debug_text(record.get()), wanted);
  EXPECT_EQ(zu_do_properties_get_shape(record.get()), frozen.form);
  // A view that takes another row keeps its own shape.
  zu_do_properties_set_string(record.get(), "hostname", "stale");
  EXPECT_EQ(zuapi::properties_add_record(record.get(), frozen.record), 0);
  EXPECT_EQ(debug_text(record.get()), wanted);
  own_record empty(zu_do_properties_new());
  EXPECT_EQ(zuapi::properties_add_record(empty.get(), frozen.record), 0);
  EXPECT_EQ(debug_text(empty.get()), "_uri=/system;id=1, hostname=edge, secret=<removed>");
}

TEST(records, never_hold_each_other) {
  balanced_memory balanced;
  own_uri uri(zu_do_uri_new("/a"));
  own_record a(zu_do_properties_new()), b(zu_do_properties_new());
  own_list list(zu_do_vlist_new());
  zu_do_properties_set_mr_uri(a.get(), "_uri", uri.get());
  zu_do_properties_set_mr_uri(b.get(), "_uri", uri.get());
  zu_do_properties_set_value(a.get(), "x", zu_do_properties_get_value(b.get(), "_uri"));
  zu_do_properties_set_value(b.get(), "x", zu_do_properties_get_value(a.get(), "_uri"));
  zu_do_properties_set_value(a.get(), "y", zu_do_properties_get_value(a.get(), "_uri"));
  zu_do_vlist_add(list.get(), zu_do_properties_get_value(a.get(), "_uri"));
  EXPECT_EQ(debug_text(a.get()), "_uri=/a, x=/a, y=/a");
}

TEST(records, of_many_properties_keep_all) {
  balanced_memory balanced;
  own_record record(zu_do_properties_new());
  const auto name = [](int i) { return "tvr" + std::to_string(i % 300); };
  for (int i = 0; i < 600; ++i) ASSERT_EQ(zu_do_properties_set_int(record.get(), name(i).c_str(), i), 0);
  EXPECT_EQ(zu_do_properties_get_len(record.get()), 300u);
  for (int i = 300; i < 600; ++i) {
    EXPECT_EQ(zu_do_properties_get_int(record.get(), name(i).c_str(), nullptr), i);
  }
}

TEST(records, from_rows_use_unqualified_names) {
  balanced_memory balanced;
  own_columns columns(zu_do_ntlist_new());
  own_list row(zu_do_vlist_new());
  own_name name(zu_do_name_new("mod:mtu"));
  zu_do_ntlist_add(columns.get(), name.get(), 102);
  zu_do_vlist_add(row.get(), json("9000").get());
  zu_do_vlist_add(row.get(), json("1").get()); // beyond the columns
  own_record record(zu_do_properties_new_from_row(columns.get(), row.get()));
  EXPECT_EQ(debug_text(record.get()), "mtu=9000");
  zu_do_ntlist_add(columns.get(), nullptr, 102);
  EXPECT_EQ(zu_do_properties_new_from_row(columns.get(), row.get()), nullptr);
  EXPECT_EQ(zu_do_nlist_new_from_ntlist(columns.get()), nullptr);
}

TEST(prints, hide_secrets) {
  own_record record(zu_do_properties_new());
  own_nvlist pairs(zu_do_nvlist_new());
  for (const auto &[name, text] : {std::pair{"a", "1"}, {"b", R"([1,{"PasswordString":"x"}])"}}) {
    zu_do_properties_set_value(record.get(), name, json(text).get());
    zu_do_nvlist_add(pairs.get(), name, json(text).get());
  }
  char *text = nullptr;
  size_t size = 0;
  FILE *stream = open_memstream(&text, &size);
  zu_do_print_properties(stream, 1, record.get());
  zu_do_print_properties(stream, 2, nullptr);
  zu_do_print_nvlist(stream, 2, pairs.get());
  zu_do_print_nvlist(stream, 2, nullptr);
  zu_do_print_uri(stream, 1, nullptr);
  fclose(stream);
  EXPECT_STREQ(text, "\ta: 1\n\tb: 1,<removed>\n\t\ta=1\n\t\tb=1,<removed>\n\t(null)\n");
  free(text);
}

TEST(tables, add_iterate_and_step_back) {
  frozen_row frozen;
  balanced_memory balanced;
  own_table table(zu_do_vtable_new());
  own_columns columns(zu_do_ntlist_new());
  own_list row(zu_do_vlist_new());
  for (int i = 0; i < 2; ++i) EXPECT_EQ(zu_do_vtable_set_ntlist(table.get(), columns.get()), 0);
  EXPECT_EQ(zu_do_vtable_set_ntlist(table.get(), &frozen.form->columns), ZU_FAILED);
  zu_do_vlist *many[] = {&frozen.record->row, row.get(), &frozen.record->row};
  EXPECT_EQ(zu_do_vtable_add_many(table.get(), many, 3), 0);
  many[2] = nullptr;
  EXPECT_EQ(zu_do_vtable_add_many(table.get(), many, 3), ZU_FAILED);

  zu_do_iter it;
  zu_do_vtable_iter(table.get(), &it);
  zu_do_vtable_get_next(table.get(), &it);
  zu_do_vtable_row *second = zu_do_vtable_get_next(table.get(), &it);
  EXPECT_EQ(zu_do_vtable_row_get_vlist(table.get(), second), row.get());
  EXPECT_NE(zu_do_vtable_get_next(table.get(), &it), nullptr);
  EXPECT_EQ(zu_do_vtable_get_next(table.get(), &it), nullptr);
  zu_do_vtable_iter_reset(table.get(), second, &it);
  EXPECT_EQ(zu_do_vtable_get_next(table.get(), &it), second);
}

TEST(lists, refuse_to_change_what_is_frozen_or_missing) {
  frozen_row frozen;
  own_list list(zu_do_vlist_new());
  own_value value = json("1");
  EXPECT_EQ(zu_do_vlist_set_value(list.get(), 0, value.get()), ZU_FAILED);
  EXPECT_EQ(zu_do_vlist_add(&frozen.record->row, value.get()), ZU_FAILED);
  EXPECT_EQ(zu_do_vlist_set_value(&frozen.record->row, 0, value.get()), ZU_FAILED);
  EXPECT_EQ(zu_do_ntlist_add(&frozen.form->columns, nullptr, 1), ZU_FAILED);
}

// Every counted type: an object with two references is there until the second goes.
TEST(life_cycles, leave_nothing) {
  const auto cycle = [](auto make, auto ref, auto deref) {
    balanced_memory balanced;
    auto *object = make();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(ref(object), object);
    deref(object);
    deref(object);
    EXPECT_EQ(ref(static_cast<decltype(object)>(nullptr)), nullptr);
    deref(static_cast<decltype(object)>(nullptr));
  };
#define CYCLE(type, made) cycle([] { return made; }, type##_ref, type##_deref)
  CYCLE(zu_do_name, zu_do_name_new("life"));
  CYCLE(zu_do_value, json("[[\"a\"],1.5]").release());
  CYCLE(zu_do_value, zu_do_value_new_none());
  CYCLE(zu_do_error, zu_do_error_new(1, nullptr));
  CYCLE(zu_do_nlist, zu_do_nlist_new());
  CYCLE(zu_do_nvlist, zu_do_nvlist_new());
  CYCLE(zu_do_ntlist, zu_do_ntlist_new());
  CYCLE(zu_do_vlist, zu_do_vlist_new());
  CYCLE(zu_do_vtable, zu_do_vtable_new());
  CYCLE(zu_do_properties, zu_do_properties_new());
  CYCLE(zu_do_properties_list, zu_do_properties_list_new());
  CYCLE(zu_do_uri, zu_do_uri_new("/a;k=1/b"));
#undef CYCLE
}

TEST(exhausted_memory, is_reported_by_values_and_lists) {
  fail_each_allocation([] { return json(R"({"Text":["a\n",{"T":2},[null,1.5]]})") != nullptr; });
  fail_each_allocation([] {
    own_list list(zu_do_vlist_new());
    own_value text(zu_do_value_new_string("text"));
    bool done = list != nullptr && text != nullptr;
    for (int i = 0; i < 9; ++i) done = zu_do_vlist_add(list.get(), text.get()) == 0 && done;
    own_value array(zu_do_value_new_array(list.get()));
    own_value typed(zu_do_value_new_as(array.get(), "T", false));
    own_buffer buffer(zu_do_strbuf_new());
    return typed != nullptr && zu_do_value_to_strbuf(typed.get(), 0, buffer.get()) == 0 && done;
  });
  fail_each_allocation([] {
    own_nlist names(zu_do_nlist_new());
    own_columns columns(zu_do_ntlist_new());
    own_nvlist pairs(zu_do_nvlist_new());
    own_table table(zu_do_vtable_new_from_ntlist(columns.get()));
    own_list row(zu_do_vlist_new());
    own_name name(zu_do_name_new("some:name"));
    bool done = zu_do_nlist_add_string(names.get(), "one") == 0;
    done = name != nullptr && zu_do_ntlist_add(columns.get(), name.get(), 102) == 0 && done;
    own_nlist copied(zu_do_nlist_new_from_ntlist(columns.get()));
    done = copied != nullptr && zu_do_nvlist_add(pairs.get(), "k", zu_do_value_new_null()) == 0 && done;
    return zu_do_vtable_add(table.get(), row.get()) == 0 && table != nullptr && done;
  });
}

TEST(exhausted_memory, is_reported_by_records) {
  frozen_row frozen;
  own_columns columns = columns_of(frozen.record);
  fail_each_allocation([&frozen, &columns] {
    own_record view(zu_do_properties_new_from_row(&frozen.form->columns, &frozen.record->row));
    own_record record(zu_do_properties_new_from_row(columns.get(), &frozen.record->row));
    own_uri uri(zu_do_uri_new("/u"));
    bool done = view != nullptr && record != nullptr && uri != nullptr;
    for (zu_do_properties *each : {view.get(), record.get()}) {
      // A set that fails leaves the record as it was.
      const auto unchanged = [&](int code, size_t before) {
        EXPECT_TRUE(code == 0 || zu_do_properties_get_len(each) == before);
        done = code == 0 && done;
      };
      for (const char *name : {"a", "hostname", "b", "a", "c", "d", "e", "f", "g", "h"}) {
        unchanged(zu_do_properties_set_string(each, name, "text"), zu_do_properties_get_len(each));
        unchanged(zu_do_properties_set_mr_uri(each, name, uri.get()), zu_do_properties_get_len(each));
      }
    }
    own_record empty(zu_do_properties_new());
    done = done && empty != nullptr && zuapi::properties_add_record(empty.get(), frozen.record) == 0;
    return view != nullptr && zuapi::properties_add_record(view.get(), frozen.record) == 0 && done;
  });
}

} // namespace
