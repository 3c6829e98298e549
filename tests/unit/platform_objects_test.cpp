// Names, values, lists, records, tables and string buffers.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/objects.hpp"
#include "support/stream_text.hpp"
#include "zuapi/frozen.hpp"

using namespace test;

namespace {

TEST(names, are_interned_and_trimmed) {
  own_name a(zu_do_name_new(" mod:mtu\t"));
  own_name b(zu_do_name_new_l("mod:mtu;", 7));
  EXPECT_EQ(a.get(), b.get());
  EXPECT_STREQ(zu_do_name_get_strname(a.get()), "mod:mtu");
  EXPECT_STREQ(zu_do_name_get_unqualified(a.get()), "mtu");
  EXPECT_FALSE(zu_do_name_equals_w_strname(a.get(), "mod:mt"));
  for (const char *text : {"", "  \t "}) EXPECT_EQ(zu_do_name_new(text), nullptr);
  EXPECT_EQ(zu_do_name_new_l("a\0b", 3), nullptr);
}

// Leaves such bytes where the next calls have their locals.
[[gnu::noinline]] void dirty_stack(char byte) {
  volatile char room[2048];
  for (volatile char &each : room) each = byte;
}

TEST(names, of_any_length_hash_by_their_bytes_alone) {
  std::string text;
  for (const char c : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j'}) {
    text += c;
    dirty_stack('\x55');
    const own_name name(zu_do_name_new(text.c_str()));
    dirty_stack('\xaa');
    EXPECT_EQ(own_name(zu_do_name_new(text.c_str())), name) << text;
  }
}

TEST(values_from_json, accepts) {
  const struct {
    std::string_view text;
    int32_t type;
    std::string_view shown;
    std::string_view typedef_name = "";
  } cases[] = {
      {" \t\r\n1 ", 102, "1"},
      {"9223372036854775808", 103, "9223372036854775808"},
      {"-0.0", 104, "-0"},
      {"2.5e-400", 104, "0"},
      {"-0.0200000000000000000050", 104, "-0.02"},
      {R"("\n\r\b\f\u007f")", 105, R"(\x0A\x0D\x08\x0C\x7F)"},
      {R"({"Text":"a\nb\r"})", 105, "a\nb\\x0D", "Text"},
      {R"("\u00e9\u20ac\ud83d\ude00")", 105, "\u00e9\u20ac\U0001f600"},
      {"[null,1,null]", 106, ",1"},
      {R"(["\u0001",{"Text":"\n"}])", 106, "\\x01,\n"},
      {R"({ "A\u0042" : {"C":{"v":7}} })", 102, "7", "AB"},
      {R"({"PasswordString":["x"]})", 106, "x", "PasswordString"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    own_value value = json(row.text);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(zu_do_value_get_type(value.get()), row.type);
    EXPECT_EQ(display(value.get()), row.shown);
    const char *typedef_name = zu_do_value_get_typedef_name(value.get());
    EXPECT_EQ(typedef_name == nullptr ? "" : typedef_name, row.typedef_name);
  }
}

std::string nested(int depth) {
  return std::string(depth, '[') + "1" + std::string(depth, ']');
}

TEST(values_from_json, refuses_with_the_position) {
  // Syntax is refused as in data files.
  const struct {
    std::string text;
    const char *message;
  } cases[] = {
      {"1 2", "text after the end of the document at byte 2"},
      {"1],[2", "text after the end of the document at byte 1"},
      {" 18446744073709551616", "a number out of range at byte 1"},
      {"[1, \"a\\u0000\"]", "a string holds a NUL at byte 4"},
      {"{}", "an object as a value must have exactly one member at byte 0"},
      {"[{\"a\":1,\"b\":2}]", "an object as a value must have exactly one member at byte 1"},
      {"{\"\":1}", "a typedef name is empty at byte 1"},
      {"{\"a\\u0000\":1}", "a name holds a NUL at byte 1"},
      {nested(65), "nested deeper than 64 levels at byte 64"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    zu_do_error *error = nullptr;
    EXPECT_EQ(zu_do_value_from_json(row.text.data(), row.text.size(), &error), nullptr);
    own_error held(error);
    EXPECT_EQ(zu_do_error_get_code(error), ZU_FAILED);
    EXPECT_STREQ(zu_do_error_get_msg(error), row.message);
  }
  EXPECT_NE(json(nested(64)), nullptr);
}

TEST(values_from_json, are_made_whole_or_not_at_all) {
  fail_each_allocation(
      [] { return json(R"({"Text":["a\n",{"T":2},[null,1.5],4,5,6,7,8,9,10]})") != nullptr; });
}

TEST(values, key_form) {
  own_uri uri(zu_do_uri_new("/a;k=b c?q"));
  std::pair<own_value, const char *> cases[] = {
      {json(R"("aZ09-._~:@+,*()[]|")"), "aZ09-._~:@+,*()[]|"},
      {json(R"("a/b;c=d?e%f g!\n\u00e9")"), "a%2Fb%3Bc%3Dd%3Fe%25f%20g%21%0A%C3%A9"},
      {json("1e300"), "1e+300"},
      {own_value(zu_do_value_new_mr_uri(uri.get())), "%2Fa%3Bk%3Db%2520c%3Fq"},
      {json("null"), nullptr}, // has none
      {json("[1]"), nullptr},
  };
  for (const auto &[value, key] : cases) {
    SCOPED_TRACE(display(value.get()));
    own_buffer buffer(zu_do_strbuf_new());
    EXPECT_EQ(zu_do_uri_value_to_keystr(value.get(), buffer.get()) == 0, key != nullptr);
    EXPECT_TRUE(key == nullptr || text_of(buffer.get()) == key) << text_of(buffer.get());
  }
}

TEST(values, getters_convert_nothing) {
  const own_value number = json("7"), text = json("\"7\""), big = json("18446744073709551615");
  int codes[6] = {};
  EXPECT_EQ(zu_do_value_get_uint(number.get(), &codes[0]), 7u);
  EXPECT_EQ(zu_do_value_get_int(text.get(), &codes[1]), 0);
  EXPECT_EQ(zu_do_value_get_string(number.get(), &codes[2]), nullptr);
  EXPECT_EQ(zu_do_value_get_int(big.get(), &codes[3]), 0);
  EXPECT_EQ(zu_do_value_get_double(number.get(), &codes[4]), 0);
  EXPECT_EQ(zu_do_value_get_array(nullptr, &codes[5]), nullptr);
  for (const int &code : codes) EXPECT_EQ(code, &code == codes ? ZU_OK : ZU_FAILED);
}

TEST(values, have_one_order) {
  own_uri uri(zu_do_uri_new("/b"));
  const auto value_of = [&](std::string_view text) {
    if (text == "nan") return own_value(zu_do_value_new_double(std::nan("")));
    if (text == "-inf") return own_value(zu_do_value_new_double(-std::numeric_limits<double>::infinity()));
    if (text == "none") return own_value(zu_do_value_new_none());
    if (text == "?b") return own_value(zu_do_value_new_coll_uri(uri.get()));
    return text == "/b" ? own_value(zu_do_value_new_mr_uri(uri.get())) : json(text);
  };
  // With `~` between those that are tied, yet not equal.
  std::string_view order = R"(null ~ none < false < true < nan < -inf < -1e19 )"
                           R"(< -9223372036854775808 = -9223372036854775808.0 < -1.5 < 0 = -0.0 = {"T":0} )"
                           R"(< 0.5 < 9007199254740992 = 9007199254740992.0 < 9007199254740993 )"
                           R"(< 9223372036854775807 < 9223372036854775808 = 9223372036854775808.0 )"
                           R"(< 18446744073709551615 < 18446744073709551616.0 < "10" < "9" < "9 " )"
                           R"(< "\u00e9" < /b ~ ?b < [1,[null,2]] = [1.0,[null,{"T":2}]] < [2] ~ ["2"] < )";
  std::vector<std::tuple<int, int, own_value>>
      values; // with the numbers of those below, and of those unequal
  for (int below = 0, unequal = 0; !order.empty();) {
    size_t end = order.find(' ');
    while (std::string_view("<=~").find(order[end + 1]) == std::string_view::npos)
      end = order.find(' ', end + 1);
    values.emplace_back(below, unequal, value_of(order.substr(0, end)));
    if (order[end + 1] == '<') ++below;
    if (order[end + 1] != '=') ++unequal;
    order.remove_prefix(end + 3);
  }
  EXPECT_EQ(values.size(), 32u);
  for (const auto &[i, k, a] : values) {
    for (const auto &[j, l, b] : values) {
      SCOPED_TRACE(display(a.get()) + " and " + display(b.get()));
      EXPECT_EQ(zu_do_value_compare(a.get(), b.get()), i < j ? -1 : i > j ? 1 : 0);
      EXPECT_EQ(zu_do_value_equals(a.get(), b.get()), k == l);
    }
  }
}

TEST(string_buffers, grow_and_stay_failed) {
  own_buffer buffer(zu_do_strbuf_new());
  zu_do_strbuf_add_tab(buffer.get(), 2);
  zu_do_strbuf_add_string(buffer.get(), nullptr);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(zu_do_strbuf_add_long(buffer.get(), INT64_MIN), 0);
  EXPECT_EQ(zu_do_strbuf_get_len(buffer.get()), 20002u);
  EXPECT_EQ(text_of(buffer.get()).substr(0, 25), "\t\t-9223372036854775808-92");

  qmalloc_fail_nth(1, false);
  EXPECT_EQ(zu_do_strbuf_add_fill(buffer.get(), 'x', 100000), ZU_EXHAUSTED);
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(zu_do_strbuf_add_bytes(buffer.get(), "", 0), ZU_EXHAUSTED);
  EXPECT_EQ(zu_do_strbuf_to_string(buffer.get()), nullptr);
  zu_do_strbuf_clear(buffer.get());
  EXPECT_EQ(zu_do_strbuf_add_string(buffer.get(), "again"), 0);
  EXPECT_EQ(text_of(buffer.get()), "again");
  EXPECT_EQ(zu_do_strbuf_add_fill(buffer.get(), 'x', SIZE_MAX), ZU_EXHAUSTED);
}

// A frozen record as a store places it: hostname and a typed secret, beside its URI.
class frozen_row {
public:
  frozen_row() {
    using namespace zuapi;
    zu_do_name *const names[] = {own_uri_name.get(), hostname.get(), secret.get()};
    form = shape_new(names, 3);
    const char *reason = nullptr;
    uri = uri_frozen_of("/system;id=1", memory, &reason);
    EXPECT_EQ(reason, nullptr);
    row = row_make(memory, form, uri);
    row_values(row)[1] = cell_string("edge", 4);
    row_values(row)[2] = cell_typed(memory, cell_string("key", 3), "PasswordString");
  }
  ~frozen_row() {
    zuapi::uri_drop(uri);
    zuapi::shape_free(form);
  }

  zu_do_ntlist *columns() const { return zuapi::shape_columns(form); }
  zu_do_name *name(int32_t position) const {
    return zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns(), static_cast<size_t>(position)));
  }

  own_name own_uri_name{zu_do_name_new(ZU_DO_NAME_URI)};
  own_name hostname{zu_do_name_new("hostname")};
  own_name secret{zu_do_name_new("secret")};
  zuapi::shape *form;
  zu_do_uri *uri;
  zu_do_vlist *row;

private:
  zuapi::arena memory;
};

std::string debug_text(zu_do_properties *record) {
  own_buffer buffer(zu_do_strbuf_new());
  EXPECT_EQ(zu_do_properties_to_strbuf(record, 0, buffer.get()), 0);
  return text_of(buffer.get());
}

const void *shape_of(zu_do_properties *record) {
  return offered.read_at(record, nullptr, nullptr, 0, nullptr);
}

// The content of a record's `_uri` and `_coll_uri`.
std::string uris(zu_do_properties *record) {
  std::string text;
  for (const bool collection : {false, true}) {
    zu_do_uri_text found{};
    offered.read_uri(record, collection, &found);
    text +=
        std::to_string(found.state) + (found.text == nullptr ? "" : std::string(found.text, found.length));
  }
  return text;
}

// Reads every position of the record's shape, and some beyond it, in one call.
void expect_facts_of(zu_do_properties *record, const frozen_row &frozen) {
  const int32_t positions[] = {-1, 3, INT32_MIN, 2, 0, 1};
  zu_do_value_facts facts[6] = {};
  EXPECT_EQ(offered.read_at(record, frozen.form, positions, 6, facts), shape_of(record));
  for (int i = 0; i < 6; ++i) {
    const bool known = shape_of(record) == frozen.form, there = i > 2 && known;
    zu_do_name *name = i > 2 ? frozen.name(positions[i]) : nullptr;
    EXPECT_EQ(offered.find_position(shape_of(record), name), there ? positions[i] : -1);
    if (!known) continue; // nothing is read
    zu_do_value *value = there ? zu_do_properties_get_value_n(record, name) : nullptr;
    const auto &[read, type, is_default, has_typedef] = facts[i];
    EXPECT_EQ(std::tie(read, type), std::tuple(value, zu_do_value_get_type(value)));
    EXPECT_EQ(is_default, zu_do_value_is_default(value));
    EXPECT_EQ(has_typedef, zu_do_value_get_typedef_name(value) != nullptr);
  }
}

TEST(records, views_answer_as_records_of_their_own) {
  frozen_row frozen;
  own_columns columns(zu_do_ntlist_new()); // as the row's, but not its shape's
  for (uint32_t i = 0; i < 3; ++i) {
    zu_do_ntlist_add(columns.get(), frozen.name(i), ZU_DO_TYPE_NONE);
  }
  own_uri list(zu_do_uri_new("/?system")), root(zu_do_uri_new("//locations;loc=3/system"));
  const own_value flagged(zu_do_value_new_as(json("null").get(), nullptr, true));
  own_nlist names(zu_do_nlist_new_from_ntlist(frozen.columns()));
  own_record plain(zu_do_properties_new_from_vlist(names.get(), frozen.row));
  EXPECT_EQ(shape_of(plain.get()), frozen.form);
  EXPECT_EQ(uris(plain.get()), "1/system;id=10");
  for (zu_do_ntlist *under : {frozen.columns(), columns.get()}) {
    const int64_t blocks = qmalloc_count(ZU_DO_AREA).total_blocks;
    own_record owned(offered.new_from_row(list.get(), under, frozen.row));
    zu_do_properties *record = owned.get();
    EXPECT_EQ(qmalloc_count(ZU_DO_AREA).total_blocks, blocks + 1);
    EXPECT_EQ(shape_of(record), under == columns.get() ? nullptr : frozen.form);
    EXPECT_EQ(debug_text(record), "_coll_uri=/?system, _uri=/system;id=1, hostname=edge, secret=<removed>");
    EXPECT_EQ(uris(record), "1/system;id=11/?system");
    EXPECT_EQ(zu_do_properties_get_value(record, "extra"), nullptr);
    expect_facts_of(record, frozen);
    const uint32_t *revision = offered.revision_of(record), before = *revision;
    EXPECT_EQ(zu_do_properties_set_mr_uri(record, " _uri", root.get()), 0);
    EXPECT_EQ(zu_do_properties_set_int(record, "extra", 5), 0);
    EXPECT_EQ(zu_do_properties_set_value_n(record, frozen.hostname.get(), flagged.get()), 0);
    EXPECT_EQ(zu_do_properties_set_coll_uri(record, ZU_DO_NAME_COLL_URI, frozen.uri), 0);
    EXPECT_EQ(*revision, before + 4);
    EXPECT_EQ(uris(record), "1//locations;loc=3/system1/system;id=1");
    EXPECT_EQ(zu_do_properties_get_len(record), 5u);
    EXPECT_EQ(debug_text(record), "_coll_uri=/system;id=1, _uri=//locations;loc=3/system, hostname=, "
                                  "secret=<removed>, extra=5");
    expect_facts_of(record, frozen);
    // Set again and again: older values stay good for whoever took a reference.
    own_value taken(zu_do_value_ref(zu_do_properties_get_value(record, ZU_DO_NAME_URI)));
    EXPECT_EQ(zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, frozen.uri), 0);
    EXPECT_EQ(zu_do_properties_set_int(record, ZU_DO_NAME_COLL_URI, 1), 0);
    EXPECT_EQ(uris(record), "1/system;id=12");
    owned.reset();
    EXPECT_EQ(display(taken.get()), "//locations;loc=3/system");
  }
}

// Only a view that nobody else holds, and over which nothing is set.
TEST(records, of_rows_are_used_again) {
  frozen_row frozen;
  const own_uri list(zu_do_uri_new("/?system")), other(zu_do_uri_new("/?system"));
  own_record owned(offered.new_from_row(list.get(), frozen.columns(), frozen.row));
  zu_do_properties *record = owned.get();
  const auto renew = [&](zu_do_uri *uri) { return offered.renew(record, uri, frozen.columns(), frozen.row); };
  const uint32_t before = *offered.revision_of(record);
  EXPECT_TRUE(renew(list.get()));
  EXPECT_NE(*offered.revision_of(record), before);
  EXPECT_EQ(debug_text(record), "_coll_uri=/?system, _uri=/system;id=1, hostname=edge, secret=<removed>");
  EXPECT_FALSE(renew(other.get()) || renew(nullptr));
  own_value taken(zu_do_value_ref(zu_do_properties_get_value(record, ZU_DO_NAME_COLL_URI)));
  EXPECT_FALSE(renew(list.get()));
  taken.reset();
  EXPECT_TRUE(renew(list.get()));
  zu_do_properties_set_int(record, "extra", 5);
  EXPECT_FALSE(renew(list.get()));
}

TEST(records, of_positions_are_filled_again_and_again) {
  const own_uri uri(zu_do_uri_new("/a"));
  for (const uint32_t count : {3u, 5000u}) { // of the many, not all integers find room in the record
    SCOPED_TRACE(count);
    std::vector<own_name> held;
    std::vector<zu_do_name *> names;
    for (uint32_t i = 0; i < count; ++i) {
      names.push_back(held.emplace_back(zu_do_name_new(("n" + std::to_string(i)).c_str())).get());
    }
    const own_value kept(zu_do_value_new_mr_uri(uri.get()));
    std::vector<zu_do_value *> values(count);
    values[1] = kept.get();
    own_record owned(offered.new_positions(names.data(), count));
    zu_do_properties *record = owned.get();
    const uint32_t last = count - 1, *revision = offered.revision_of(record);
    const auto value_of_last = [&] { return zu_do_properties_get_value_n(record, names[last]); };
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(zu_do_properties_get_prop(record, "n1"), nullptr);
      EXPECT_EQ(value_of_last(), nullptr);
      EXPECT_EQ(std::pair(zu_do_properties_get_len(record), debug_text(record)),
                std::pair(size_t{0}, std::string()));

      const uint32_t before = *revision;
      EXPECT_EQ(offered.set_int_at(record, last, -7), 0);
      EXPECT_EQ(offered.set_at(record, 1, value_of_last()), 0); // copied: no record holds itself
      EXPECT_EQ(zu_do_properties_set_value(record, "n0", value_of_last()), 0);
      EXPECT_EQ(offered.set_int_at(record, last, 8), 0);
      EXPECT_EQ(zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, uri.get()), 0);
      EXPECT_EQ(*revision, before + 5);
      EXPECT_EQ(offered.set_int_at(record, count, 1), ZU_FAILED);
      EXPECT_EQ(offered.set_at(record, 0, nullptr), ZU_FAILED);
      EXPECT_EQ(debug_text(record), "n0=-7, n1=-7, n" + std::to_string(last) + "=8, _uri=/a");

      // A value with another reference does not change; a reference
      // on one of the record's own values keeps the record.
      own_value taken(zu_do_value_ref(value_of_last()));
      EXPECT_EQ(offered.set_int_at(record, last, 9), 0);
      EXPECT_EQ(display(value_of_last()) + display(taken.get()), "98");
      EXPECT_EQ(offered.fill(record, values.data(), count), count != 3);
      EXPECT_EQ(debug_text(record), count != 3 ? "n1=/a" : "n0=-7, n1=-7, n2=9, _uri=/a");
      taken.reset();
      EXPECT_TRUE(offered.fill(record, values.data(), count));
      EXPECT_EQ(debug_text(record), "n1=/a");
      EXPECT_FALSE(offered.fill(record, values.data(), 2));
      EXPECT_GT(*revision, before + 6);
      EXPECT_TRUE(offered.fill(record, std::vector<zu_do_value *>(count).data(), count));
    }
  }
}

TEST(prints, hide_secrets) {
  own_record record(zu_do_properties_new());
  own_nvlist pairs(zu_do_nvlist_new());
  const own_value value = json(R"([1,{"PasswordString":"x"}])");
  zu_do_properties_set_value(record.get(), "b", value.get());
  zu_do_nvlist_add(pairs.get(), "b", value.get());
  EXPECT_EQ(stream_text([&](FILE *stream) {
              zu_do_print_properties(stream, 1, record.get());
              zu_do_print_properties(stream, 2, nullptr);
              zu_do_print_nvlist(stream, 2, pairs.get());
              zu_do_print_nvlist(stream, 2, nullptr);
              zu_do_print_uri(stream, 1, nullptr);
            }),
            "\tb: 1,<removed>\n\t\tb=1,<removed>\n\t(null)\n");
}

TEST(tables, keep_their_columns_and_step_back) {
  frozen_row frozen;
  own_table table(zu_do_vtable_new());
  own_columns columns(zu_do_ntlist_new());
  own_list row(zu_do_vlist_new());
  EXPECT_EQ(zu_do_vtable_set_ntlist(nullptr, columns.get()), ZU_FAILED);
  EXPECT_EQ(zu_do_vtable_set_ntlist(table.get(), nullptr), ZU_FAILED);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(zu_do_vtable_set_ntlist(table.get(), columns.get()), 0);
  EXPECT_EQ(zu_do_vtable_set_ntlist(table.get(), frozen.columns()), ZU_FAILED);
  zu_do_vlist *many[] = {frozen.row, row.get(), nullptr};
  for (const size_t count : {2, 3}) {
    EXPECT_EQ(zu_do_vtable_add_many(table.get(), many, count), count == 2 ? 0 : ZU_FAILED);
  }
  zu_do_iter it;
  zu_do_vtable_iter(table.get(), &it);
  zu_do_vtable_get_next(table.get(), &it);
  zu_do_vtable_row *second = zu_do_vtable_get_next(table.get(), &it);
  EXPECT_EQ(zu_do_vtable_row_get_vlist(table.get(), second), row.get());
  EXPECT_EQ(zu_do_vtable_get_next(table.get(), &it), nullptr);
  zu_do_vtable_iter_reset(table.get(), second, &it);
  EXPECT_EQ(zu_do_vtable_get_next(table.get(), &it), second);
}

} // namespace
