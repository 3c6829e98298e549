// What the data store answers: records, collections, queries, order, caching requests; and its wrapper.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "qmalloc/qmalloc.h"
#include "store/store.h"
#include "support.h"
#include "zuapi/zuapi.h"

namespace {

constexpr uint64_t for_caching = 0x10000000;

const char *const network = R"({
  "records": {
    "/system": {"hostname": "edge1", "secret": "x"},
    "//locations;loc=1": {"kind": "rack"},
    "//locations;loc=2": {"kind": "slot"},
    "/system/ifc;name=eth0": {"mtu": 9000, "description": "to core"},
    "/system/ifc;name=eth0/unit;id=0": {"vlan": 10},
    "//locations;loc=2/system/ifc;name=eth0": {"mtu": 1500},
    "/system/ifc;name=eth1": {"enabled": false},
    "/system/ifc;name=eth1/unit;id=0": {"vlan": 20},
    "//locations;loc=1/system/ifc;name=eth1": {"mtu": 1400, "speed": 1e9},
    "/system/ifc;name=eth0/unit;id=1": {"vlan": 11},
    "/locations;n=1": {"kind": "room"},
    "/pair;a=1;b=2": {"l": [2]}, "/pair;a=1;b=3": {"l": [1]}, "/pair;a=2;b=2": {},
    "/loose;a=1": {}, "/loose;a=1;b=2": {}, "/loose;c=1": {}
  },
  "classes": {
    "/system":     {"secret": {"type": "PasswordString"}, "domain": {"default": ""}},
    "/system/ifc": {"mtu": {"default": 1500}, "enabled": {"default": true},
                    "owner": {"type": "Text", "default": {"Owner": "a\nb"}}},
    "/unused":     {"x": {}}
  }
})";

class store_of {
public:
  explicit store_of(std::string_view text) {
    zu_do_error *error = nullptr;
    data_ = zu_store_load_text("data", text.data(), text.size(), &error);
    EXPECT_NE(data_, nullptr) << (error == nullptr ? "no memory" : zu_do_error_get_msg(error));
    zu_do_error_deref(error);
    if (data_ == nullptr) return;
    EXPECT_EQ(data_->ops->get_coll_ifc(data_, &coll_), ZU_OK);
    EXPECT_EQ(data_->ops->get_crudx_ifc(data_, &crudx_), ZU_OK);
  }
  ~store_of() {
    crudx_->ops->free(crudx_);
    coll_->ops->free(coll_);
    data_->ops->free(data_);
  }
  store_of(const store_of &) = delete;
  store_of &operator=(const store_of &) = delete;

  zu_data_ifc *data() { return data_; }
  zu_coll_ifc *coll() { return coll_; }
  zu_crudx_ifc *crudx() { return crudx_; }

private:
  zu_data_ifc *data_ = nullptr;
  zu_coll_ifc *coll_ = nullptr;
  zu_crudx_ifc *crudx_ = nullptr;
};

std::string display(zu_do_value *value) {
  zu_do_strbuf *buffer = zu_do_strbuf_new();
  EXPECT_EQ(zu_do_value_to_strbuf(value, 0, buffer), ZU_OK);
  std::string text = zu_do_strbuf_to_string(buffer);
  zu_do_strbuf_deref(buffer);
  return text;
}

struct request {
  std::string uri;
  std::vector<std::pair<const char *, zu_do_value *>> query = {}; // the values are taken over
  std::vector<const char *> order_by = {};
  uint64_t flags = 0;
  uint32_t batch = 0;
};

int open_cursor(zu_coll_ifc *coll, const request &asked, zu_cursor **cursor) {
  zu_do_uri *uri = zu_do_uri_new(asked.uri.c_str());
  EXPECT_NE(uri, nullptr) << asked.uri;
  zu_do_nlist *fields = zu_do_nlist_new();
  zu_do_nlist *order_by = asked.order_by.empty() ? nullptr : zu_do_nlist_new();
  for (const char *name : asked.order_by) zu_do_nlist_add_string(order_by, name);
  zu_do_nvlist *query = asked.query.empty() ? nullptr : zu_do_nvlist_new();
  for (const auto &[name, value] : asked.query) {
    zu_do_nvlist_add(query, name, value);
    zu_do_value_deref(value);
  }
  const int code = coll->ops->open_cursor(coll, uri, fields, query, order_by, asked.flags, cursor);
  zu_do_nvlist_deref(query);
  zu_do_nlist_deref(order_by);
  zu_do_nlist_deref(fields);
  zu_do_uri_deref(uri);
  return code;
}

// The URIs of the answer, each followed by a blank, "|" after every fetch; or the code of the failure.
std::string uris(zu_coll_ifc *coll, const request &asked) {
  zu_cursor *cursor = nullptr;
  if (const int code = open_cursor(coll, asked, &cursor)) return std::to_string(code);
  std::string text;
  for (int code = 0; code == 0; text += "|") {
    zu_do_vtable *table = zu_do_vtable_new();
    code = cursor->ops->fetch(cursor, asked.batch, table);
    EXPECT_TRUE(code == 0 || code == 1) << code;
    for (size_t i = 0; i < zu_do_vtable_get_len(table); ++i) {
      text += display(zu_do_vlist_get_value(zu_do_vtable_get(table, i), 0)) + " ";
    }
    zu_do_vtable_deref(table);
  }
  EXPECT_NE(cursor->ops->status(cursor), nullptr);
  cursor->ops->free(cursor);
  text.pop_back();
  return text;
}

// A record as `name=value,...`; `*` behind what is flagged default, `:Type` behind what has a typedef.
std::string show(zu_do_properties *record) {
  std::string text;
  zu_do_iter it = {};
  zu_do_properties_iter(record, &it);
  while (zu_do_properties_has_next(record, &it)) {
    zu_do_name *name = nullptr;
    zu_do_value *value = zu_do_properties_get_next(record, &it, &name);
    text += std::string(text.empty() ? "" : ",") + zu_do_name_get_strname(name) + "=";
    text += zu_do_value_get_type(value) == ZU_DO_TYPE_NONE ? "-" : display(value);
    if (const char *type = zu_do_value_get_typedef_name(value)) text += std::string(":") + type;
    if (zu_do_value_is_default(value)) text += "*";
  }
  return text;
}

std::string get(zu_crudx_ifc *crudx, const char *uri_text) {
  zu_do_uri *uri = zu_do_uri_new(uri_text);
  zu_do_properties *record = zu_do_properties_new();
  zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, uri);
  const int code = crudx->ops->get(crudx, uri, nullptr, 0, record);
  std::string text = code == ZU_OK ? show(record) : std::to_string(code);
  zu_do_properties_deref(record);
  zu_do_uri_deref(uri);
  return text;
}

zu_do_value *text_value(const char *text) {
  return zu_do_value_new_string(text);
}

} // namespace

TEST(store, records_have_keys_class_and_other_properties_in_order) {
  const test::balanced_memory balanced;
  store_of store(network);
  const std::pair<const char *, const char *> rows[] = {
      {"/system", "_uri=/system,secret=x:PasswordString,domain=*,hostname=edge1"},
      {"/system/ifc;name=eth0", "_uri=/system/ifc;name=eth0,name=eth0,mtu=9000,enabled=true*,"
                                "owner=a\\x0Ab:Owner*,description=to core,speed=-"},
      {"/system/ifc;name=eth1", "_uri=/system/ifc;name=eth1,name=eth1,mtu=1500*,enabled=false,"
                                "owner=a\\x0Ab:Owner*,description=-,speed=-"},
      {"//locations;loc=2/system/ifc;name=eth0",
       "_uri=//locations;loc=2/system/ifc;name=eth0,name=eth0,mtu=1500*,enabled=true*,owner=a\\x0Ab:Owner*,"
       "description=-,speed=-"},
      {"//locations;loc=2", "_uri=//locations;loc=2,loc=2,kind=slot"},
      {"/loose;c=1", "_uri=/loose;c=1,a=-,b=-,c=1"},
      {"//locations;loc=1/system/ifc;name=eth0", "102"},
      {"/none", "102"},
      {"/system?ifc", "102"},
  };
  for (const auto &[uri, expected] : rows) EXPECT_EQ(get(store.crudx(), uri), expected);
}

TEST(store, values_keep_their_types) {
  const test::balanced_memory balanced;
  store_of store(
      R"({"classes": {"/r": {"t": {"type": "Text"}, "d": {"default": 5}, "p": {"type": "T", "default": 1},
                                         "n": {"default": null}}},
    "records": {
      "/r;k=1": {"k": 1, "i": -7, "u": 18446744073709551615, "f": 2.5, "b": true, "z": null, "t": "a\nb\u0001",
                 "e": "\u00e9\ud83d\ude00\"\\\/", "a": [1, null, "x", null, [true], {"v": null}, null],
                 "w": {"v": {"Y": {"v": {"X": 3}}}}, "d": 5.0, "p": {"Q": 1}, "_pending_attrs": "mtu"},
      "/r;k=%2F%20": {"d": {"v": 5}, "n": null, "z": {"P": 1}, "e": ""}}})");
  EXPECT_EQ(get(store.crudx(), "/r;k=1"),
            "_uri=/r;k=1,k=1,t=a\nb\\x01:Text,d=5*,p=1:Q*,n=*,i=-7,u=18446744073709551615,f=2.5,b=true,z=,"
            "e=\xc3\xa9\xf0\x9f\x98\x80\"\\/,a=1,,x,,true,,w=3:Y,_pending_attrs=mtu");
  EXPECT_EQ(get(store.crudx(), "/r;k=%2f%20"),
            "_uri=/r;k=%2F%20,k=/ ,t=-,d=5*,p=1:T*,n=*,i=-,u=-,f=-,b=-,z=1:P,e=,a=-,w=-,_pending_attrs=-");
}

TEST(store, a_class_may_declare_keys_and_names_may_need_escapes) {
  const test::balanced_memory balanced;
  store_of store(R"({"classes": {"/a": {"z": {}, "k": {"type": "Id", "default": "1"}}},
    "records": {"/a;k=1": {"q\"\\": 1, " spaced ": 2, "\u007a": 3}, "/a;j=2;k=2": {"\u0071\"\\": 4}}})");
  EXPECT_EQ(get(store.crudx(), "/a;k=1"), "_uri=/a;k=1,k=1:Id*,j=-,z=3,q\"\\=1,spaced=2");
  EXPECT_EQ(get(store.crudx(), "/a;j=2;k=2"), "_uri=/a;j=2;k=2,k=2:Id,j=2,z=-,q\"\\=4,spaced=-");
}

TEST(store, get_keeps_what_the_caller_set) {
  const test::balanced_memory balanced;
  store_of store(network);
  zu_do_uri *uri = zu_do_uri_new("/system/ifc;name=eth0");
  zu_do_uri *other = zu_do_uri_new("/mine");
  zu_do_properties *record = zu_do_properties_new();
  zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, other);
  zu_do_properties_set_int(record, "mtu", 1);
  zu_do_properties_set_int(record, "mine", 2);
  ASSERT_EQ(store.crudx()->ops->get(store.crudx(), uri, "any", 0x110, record), ZU_OK);
  EXPECT_EQ(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr), other);
  EXPECT_EQ(zu_do_properties_get_int(record, "mtu", nullptr), 9000);
  EXPECT_EQ(zu_do_properties_get_int(record, "mine", nullptr), 2);
  // What is set later stands over the record; the store's own stays as it is.
  zu_do_properties_set_int(record, "mtu", 3);
  EXPECT_EQ(zu_do_properties_get_int(record, "mtu", nullptr), 3);
  zu_do_properties_deref(record);
  EXPECT_NE(get(store.crudx(), "/system/ifc;name=eth0").find("mtu=9000"), std::string::npos);
  EXPECT_EQ(store.crudx()->ops->get(store.crudx(), nullptr, nullptr, 0, nullptr), ZU_FAILED);
  zu_do_uri_deref(other);
  zu_do_uri_deref(uri);
}

TEST(store, collections) {
  const test::balanced_memory balanced;
  store_of store(network);
  const std::string eth0 = "/system/ifc;name=eth0 ", eth1 = "/system/ifc;name=eth1 ";
  const std::string in1 = "//locations;loc=1/system/ifc;name=eth1 ";
  const std::string in2 = "//locations;loc=2/system/ifc;name=eth0 ";
  const std::string unit0 = "/system/ifc;name=eth0/unit;id=0 ", unit1 = "/system/ifc;name=eth1/unit;id=0 ";
  const std::string unit2 = "/system/ifc;name=eth0/unit;id=1 ";
  const std::pair<const char *, std::string> rows[] = {
      // parent?name
      {"/system?ifc", eth0 + in2 + eth1 + in1},
      {"//locations;loc=1/system?ifc", in1},
      {"//locations;loc=3/system?ifc", ""},
      {"/system/ifc;name=eth0?unit", unit0 + unit2},
      {"/system/ifc?unit", ""},
      {"/?system", "/system "},
      {"//?locations", "//locations;loc=1 //locations;loc=2 "},
      {"/?locations", "//locations;loc=1 //locations;loc=2 /locations;n=1 "},
      {"/system?none", ""},
      // a path, with some, all or no keys
      {"/system/ifc", eth0 + in2 + eth1 + in1},
      {"/system/ifc;name=eth1", eth1 + in1},
      {"/system/ifc;name=eth2", ""},
      {"/system/ifc/unit", unit0 + unit1 + unit2},
      {"/system/ifc/unit;id=0", unit0 + unit1},
      {"/system/ifc;name=eth0/unit", unit0 + unit2},
      {"/system/ifc;name=eth0/unit;id=1", unit2},
      {"//locations;loc=2/system/ifc", in2},
      {"//locations;loc=2/system/ifc;name=eth0", in2},
      {"//locations/system/ifc", in2 + in1},
      {"//locations", "//locations;loc=1 //locations;loc=2 "},
      {"/locations", "/locations;n=1 "},
      {"/pair;b=2", "/pair;a=1;b=2 /pair;a=2;b=2 "},
      {"/pair;b=2;a=1", "/pair;a=1;b=2 "},
      {"/loose;a=1", "/loose;a=1 /loose;a=1;b=2 "},
      {"/loose;a=1;b=2", "/loose;a=1;b=2 "},
      {"/system;x=1", ""},
      {"/unused", ""},
      {"/none/at/all", ""},
      // path?name=value
      {"/system/ifc?mtu=1500", in2 + eth1},
      {"/system/ifc;name=eth0?mtu=1500", in2},
      {"//locations;loc=1/system/ifc?mtu=1400", in1},
      {"/system/ifc?description=to%20core", eth0},
      {"/system/ifc?enabled=true", eth0 + in2 + in1},
      {"/system/ifc?none=1", ""},
      {"/none?a=1", ""},
  };
  for (const auto &[uri, expected] : rows) EXPECT_EQ(uris(store.coll(), {uri}), expected) << uri;
}

TEST(store, queries_and_order) {
  const test::balanced_memory balanced;
  store_of store(R"({"records": {
    "/a;n=1": {"x": "b", "g": 1}, "/a;n=2": {"x": 10, "g": 1}, "/a;n=3": {"x": null, "g": 2}, "/a;n=4": {"x": 9.5, "g": 2},
    "/a;n=5": {"x": true, "g": 1}, "/a;n=6": {"x": "B", "g": 1}, "/a;n=7": {"g": 2}, "/a;n=8": {"x": false, "g": 1},
    "/a;n=9": {"x": ["q"], "g": 1}}})");
  const auto digits = [&](const request &asked) {
    std::string text;
    const std::string all = uris(store.coll(), asked);
    for (size_t at = all.find("n="); at != std::string::npos; at = all.find("n=", at + 1))
      text += all[at + 2];
    return text;
  };
  EXPECT_EQ(digits({.uri = "/?a", .order_by = {"x"}}), "378542619");
  EXPECT_EQ(digits({.uri = "/?a", .order_by = {"g", "x"}}), "852619374");
  EXPECT_EQ(digits({.uri = "/?a", .order_by = {"none"}}), "123456789");
  EXPECT_EQ(digits({.uri = "/a", .query = {{"g", zu_do_value_new_int(2)}}}), "347");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"g", text_value("1")}, {"x", text_value("true")}}}), "5");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"x", text_value("")}}}), "37");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"x", text_value("q")}}}), "9");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"none", text_value("1")}}}), "");
  EXPECT_EQ(digits({.uri = "/a?g=2", .query = {{"g", text_value("2")}}, .order_by = {"x", "n"}}), "374");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"_uri", text_value("/a;n=4")}}}), "4");
}

TEST(store, fetches_in_batches) {
  const test::balanced_memory balanced;
  store_of store(network);
  const std::pair<uint32_t, const char *> rows[] = {
      {0, "/pair;a=1;b=2 /pair;a=1;b=3 /pair;a=2;b=2 "},
      {1, "/pair;a=1;b=2 |/pair;a=1;b=3 |/pair;a=2;b=2 "},
      {2, "/pair;a=1;b=2 /pair;a=1;b=3 |/pair;a=2;b=2 "},
      {3, "/pair;a=1;b=2 /pair;a=1;b=3 /pair;a=2;b=2 "},
      {4000000000u, "/pair;a=1;b=2 /pair;a=1;b=3 /pair;a=2;b=2 "},
  };
  for (const auto &[batch, expected] : rows)
    EXPECT_EQ(uris(store.coll(), {.uri = "/?pair", .batch = batch}), expected);

  zu_cursor *cursor = nullptr;
  ASSERT_EQ(open_cursor(store.coll(), {"/?pair"}, &cursor), ZU_OK);
  zu_do_ntlist *foreign = zu_do_ntlist_new();
  zu_do_vtable *table = zu_do_vtable_new_from_ntlist(foreign);
  EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), ZU_FAILED) << "a table of other columns";
  EXPECT_EQ(cursor->ops->fetch(cursor, 0, nullptr), ZU_FAILED);
  zu_do_vtable_deref(table);
  table = zu_do_vtable_new();
  EXPECT_EQ(cursor->ops->fetch(cursor, 2, table), 0);
  EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1);
  EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1) << "at the end";
  EXPECT_EQ(zu_do_vtable_get_len(table), 3u);
  EXPECT_EQ(zu_do_ntlist_get_len(zu_do_vtable_get_ntlist(table)), 4u);
  cursor->ops->ref(cursor);
  cursor->ops->free(cursor);
  cursor->ops->free(cursor);
  zu_do_vtable_deref(table);
  zu_do_ntlist_deref(foreign);
}

TEST(store, rows_of_several_paths_have_the_columns_of_all) {
  const test::balanced_memory balanced;
  store_of store(network);
  for (const uint32_t batch : {0u, 1u}) {
    zu_cursor *cursor = nullptr;
    ASSERT_EQ(open_cursor(store.coll(), {.uri = "/?locations", .order_by = {"kind"}}, &cursor), ZU_OK);
    zu_do_vtable *table = zu_do_vtable_new();
    while (cursor->ops->fetch(cursor, batch, table) == 0) {
    }
    std::string text;
    for (size_t i = 0; i < zu_do_vtable_get_len(table); ++i) {
      zu_do_properties *record =
          zu_do_properties_new_from_row(zu_do_vtable_get_ntlist(table), zu_do_vtable_get(table, i));
      text += show(record) + "\n";
      zu_do_properties_deref(record);
    }
    EXPECT_EQ(text, "_uri=//locations;loc=1,loc=1,kind=rack,n=-\n"
                    "_uri=/locations;n=1,loc=-,kind=room,n=1\n"
                    "_uri=//locations;loc=2,loc=2,kind=slot,n=-\n");
    zu_do_vtable_deref(table);
    cursor->ops->free(cursor);
  }
}

TEST(store, a_row_read_as_a_view_is_the_row_read_value_by_value) {
  const test::balanced_memory balanced;
  store_of store(network);
  for (const char *uri : {"/system?ifc", "/?system", "/?locations", "/system/ifc/unit", "/?loose"}) {
    zu_cursor *cursor = nullptr;
    ASSERT_EQ(open_cursor(store.coll(), {uri}, &cursor), ZU_OK);
    zu_do_vtable *table = zu_do_vtable_new();
    EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1);
    zu_do_ntlist *columns = zu_do_vtable_get_ntlist(table);
    for (size_t i = 0; i < zu_do_vtable_get_len(table); ++i) {
      zu_do_vlist *row = zu_do_vtable_get(table, i);
      zu_do_properties *view = zu_do_properties_new_from_row(columns, row);
      zu_do_properties *generic = zu_do_properties_new();
      ASSERT_EQ(zu_do_vlist_get_len(row), zu_do_ntlist_get_len(columns));
      for (size_t c = 0; c < zu_do_vlist_get_len(row); ++c) {
        zu_do_properties_set_value_n(generic, zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, c)),
                                     zu_do_vlist_get_value(row, c));
      }
      EXPECT_EQ(show(view), show(generic)) << uri;
      zu_do_properties_deref(generic);
      zu_do_properties_deref(view);
    }
    zu_do_vtable_deref(table);
    cursor->ops->free(cursor);
  }
}

TEST(store, caching_requests) {
  const test::balanced_memory balanced;
  store_of store(network);
  const std::string units =
      "/system/ifc;name=eth0/unit;id=0 /system/ifc;name=eth1/unit;id=0 /system/ifc;name=eth0/unit;id=1 ";
  const std::string of_eth0 = "/system/ifc;name=eth0/unit;id=0 /system/ifc;name=eth0/unit;id=1 ";
  const std::string of_eth1 = "/system/ifc;name=eth1/unit;id=0 ";
  struct {
    request asked;
    std::string expected;
  } rows[] = {
      {{.uri = "/system/ifc;name=eth0", .flags = for_caching}, "103"},
      {{.uri = "/system/ifc?mtu=1500", .flags = for_caching}, "103"},
      // A collection without instances does not count.
      {{.uri = "/system/ifc;name=eth9?unit", .flags = for_caching}, ""},
      {{.uri = "/system/ifc;name=eth1?unit", .flags = for_caching, .batch = 1}, units},
      {{.uri = "/system/ifc;name=eth0?unit", .flags = for_caching, .batch = 1}, of_eth0},
      {{.uri = "/system/ifc;name=eth1?unit", .flags = for_caching}, of_eth1},
      // Each flag word counts for itself, and so does each path.
      {{.uri = "/system/ifc;name=eth0?unit", .order_by = {"vlan"}, .flags = for_caching | 0x10},
       "/system/ifc;name=eth0/unit;id=0 /system/ifc;name=eth0/unit;id=1 /system/ifc;name=eth1/unit;id=0 "},
      {{.uri = "/system/ifc;name=eth0?unit", .flags = for_caching | 0x10}, of_eth0},
      {{.uri = "//locations;loc=1/system?ifc", .flags = for_caching},
       "/system/ifc;name=eth0 //locations;loc=2/system/ifc;name=eth0 /system/ifc;name=eth1 "
       "//locations;loc=1/system/ifc;name=eth1 "},
      {{.uri = "//locations;loc=1/system?ifc", .flags = for_caching},
       "//locations;loc=1/system/ifc;name=eth1 "},
      {{.uri = "/?locations", .flags = for_caching}, "//locations;loc=1 //locations;loc=2 /locations;n=1 "},
      // Without the flag nothing counts.
      {{.uri = "/system/ifc;name=eth0?unit", .flags = 0x10, .batch = 1},
       "/system/ifc;name=eth0/unit;id=0 |/system/ifc;name=eth0/unit;id=1 "},
  };
  for (const auto &row : rows) EXPECT_EQ(uris(store.coll(), row.asked), row.expected) << row.asked.uri;

  zu_coll_ifc *another = nullptr;
  ASSERT_EQ(store.data()->ops->get_coll_ifc(store.data(), &another), ZU_OK);
  EXPECT_EQ(uris(another, {.uri = "/system/ifc;name=eth1?unit", .flags = for_caching}), units);
  another->ops->free(another);
}

TEST(store, interfaces_keep_the_snapshot) {
  const test::balanced_memory balanced;
  zu_data_ifc *data = zu_store_load_text("data", network, strlen(network), nullptr);
  zu_coll_ifc *coll = nullptr;
  zu_cursor *cursor = nullptr;
  ASSERT_EQ(data->ops->get_coll_ifc(data, &coll), ZU_OK);
  ASSERT_EQ(open_cursor(coll, {"/?pair"}, &cursor), ZU_OK);
  data->ops->free(data);
  coll->ops->free(coll);
  zu_do_vtable *table = zu_do_vtable_new();
  EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1);
  EXPECT_EQ(zu_do_vtable_get_len(table), 3u);
  zu_do_vtable_deref(table);
  cursor->ops->free(cursor);
}

TEST(store, no_memory_is_a_code_and_no_leak) {
  store_of store(network);
  const std::pair<request, size_t> rows[] = {
      {{.uri = "/system?ifc"}, 4},
      {{.uri = "/system/ifc;name=eth0/unit"}, 2},
      {{.uri = "/system/ifc;name=eth0?mtu=1500"}, 1},
      {{.uri = "/system/ifc?owner=a%5Cx0Ab"}, 4},
      {{.uri = "/?locations", .order_by = {"kind"}}, 3},
      {{.uri = "/?pair", .order_by = {"l"}}, 3}, // arrays are ordered by texts that have to be made
  };
  for (const auto &[asked, count] : rows) {
    uint64_t n = 1;
    for (bool failed = true; failed; ++n) {
      const test::balanced_memory balanced;
      zu_do_uri *uri = zu_do_uri_new(asked.uri.c_str());
      zu_do_nlist *order_by = zu_do_nlist_new();
      for (const char *name : asked.order_by) zu_do_nlist_add_string(order_by, name);
      zu_do_vtable *table = zu_do_vtable_new();
      zu_cursor *cursor = nullptr;
      zu_coll_ifc *coll = nullptr;
      qmalloc_fail_nth(n, false);
      int code = store.data()->ops->get_coll_ifc(store.data(), &coll);
      if (code == 0) code = coll->ops->open_cursor(coll, uri, nullptr, nullptr, order_by, 0, &cursor);
      if (code == 0) code = cursor->ops->fetch(cursor, 0, table);
      failed = qmalloc_fail_fired() != 0;
      qmalloc_fail_nth(0, false);
      EXPECT_EQ(code, failed ? ZU_EXHAUSTED : 1) << asked.uri << " " << n;
      if (cursor != nullptr) {
        // What failed changed nothing: the rows are still there.
        EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1);
        EXPECT_EQ(zu_do_vtable_get_len(table), count) << asked.uri;
        cursor->ops->free(cursor);
      }
      if (coll != nullptr) coll->ops->free(coll);
      zu_do_vtable_deref(table);
      zu_do_nlist_deref(order_by);
      zu_do_uri_deref(uri);
    }
    EXPECT_GT(n, 3u) << asked.uri;
  }
}

TEST(store, get_without_memory_changes_nothing) {
  store_of store(network);
  uint64_t n = 1;
  for (bool failed = true; failed; ++n) {
    const test::balanced_memory balanced;
    zu_do_uri *first = zu_do_uri_new("/system");
    zu_do_uri *second = zu_do_uri_new("/system/ifc;name=eth0");
    zu_do_properties *record = zu_do_properties_new();
    ASSERT_EQ(store.crudx()->ops->get(store.crudx(), first, nullptr, 0, record), ZU_OK);
    const std::string before = show(record);
    zu_crudx_ifc *crudx = nullptr;
    qmalloc_fail_nth(n, false);
    int code = store.data()->ops->get_crudx_ifc(store.data(), &crudx);
    // A record that is a view already takes the second record's properties one by one.
    if (code == ZU_OK) code = crudx->ops->get(crudx, second, nullptr, 0, record);
    failed = qmalloc_fail_fired() != 0;
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(code, failed ? ZU_EXHAUSTED : ZU_OK) << n;
    EXPECT_EQ(show(record) == before, failed) << n;
    if (crudx != nullptr) crudx->ops->free(crudx);
    zu_do_properties_deref(record);
    zu_do_uri_deref(second);
    zu_do_uri_deref(first);
  }
  EXPECT_GT(n, 2u);
}

TEST(store, wrapper_counts_watches_and_fails) {
  const test::balanced_memory balanced;
  const qmalloc_counters before = qmalloc_count(0);
  store_of store(network);
  zu_store_wrapper *wrapper = zu_store_wrapper_new(store.data());
  std::string seen;
  zu_store_wrapper_watch(
      wrapper,
      [](void *context, zu_store_call call, const char *uri, uint64_t flags) {
        *static_cast<std::string *>(context) +=
            std::to_string(call) + " " + uri + " " + std::to_string(flags) + ";";
      },
      &seen);
  zu_data_ifc *data = zu_store_wrapper_ifc(wrapper);
  zu_coll_ifc *coll = nullptr;
  zu_crudx_ifc *crudx = nullptr;
  ASSERT_EQ(data->ops->get_coll_ifc(data, &coll), ZU_OK);
  ASSERT_EQ(data->ops->get_crudx_ifc(data, &crudx), ZU_OK);
  EXPECT_EQ(uris(coll, {.uri = "/?pair", .flags = 7, .batch = 2}),
            "/pair;a=1;b=2 /pair;a=1;b=3 |/pair;a=2;b=2 ");
  EXPECT_EQ(get(crudx, "/none"), "102");
  EXPECT_EQ(seen, "2 /?pair 7;4 /none 0;");
  const std::array<uint64_t, ZU_CALL_COUNT> expected = {1, 1, 1, 2, 1};
  for (int call = 0; call < ZU_CALL_COUNT; ++call) {
    EXPECT_EQ(zu_store_wrapper_calls(wrapper, static_cast<zu_store_call>(call)),
              expected[static_cast<size_t>(call)]);
  }
  EXPECT_EQ(zu_store_wrapper_rows(wrapper), 3u);
  zu_store_wrapper_reset(wrapper);
  EXPECT_EQ(zu_store_wrapper_rows(wrapper) + zu_store_wrapper_calls(wrapper, ZU_CALL_GET), 0u);

  zu_store_wrapper_fail(wrapper, ZU_CALL_GET, 2, 77);
  EXPECT_EQ(get(crudx, "/loose;c=1"), "_uri=/loose;c=1,a=-,b=-,c=1");
  EXPECT_EQ(get(crudx, "/loose;c=1"), "77");
  EXPECT_EQ(zu_store_wrapper_fired(wrapper), 1u);
  EXPECT_EQ(get(crudx, "/loose;c=1"), "_uri=/loose;c=1,a=-,b=-,c=1");
  zu_store_wrapper_fail_any(wrapper, 2, 88);
  EXPECT_EQ(get(crudx, "/none"), "102");
  EXPECT_EQ(uris(coll, {.uri = "/?pair"}), "88");
  zu_store_wrapper_fail_any(wrapper, 1, 88);
  zu_store_wrapper_fail_any(wrapper, 0, 88);
  EXPECT_EQ(get(crudx, "/none"), "102");
  EXPECT_EQ(zu_store_wrapper_fired(wrapper), 0u);

  zu_store_wrapper_free(wrapper);
  EXPECT_EQ(get(crudx, "/none"), "102") << "what was reached through it goes on";
  coll->ops->free(coll);
  crudx->ops->free(crudx);
  EXPECT_EQ(qmalloc_count(0).live_blocks, before.live_blocks);
}

TEST(store, threads_read_one_snapshot) {
  const test::balanced_memory balanced;
  store_of store(network);
  zu_data_ifc *data = store.data();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([data] {
      zu_coll_ifc *coll = nullptr;
      zu_crudx_ifc *crudx = nullptr;
      data->ops->ref(data);
      ASSERT_EQ(data->ops->get_coll_ifc(data, &coll), ZU_OK);
      ASSERT_EQ(data->ops->get_crudx_ifc(data, &crudx), ZU_OK);
      for (int round = 0; round < 100; ++round) {
        zu_cursor *cursor = nullptr;
        ASSERT_EQ(open_cursor(coll, {.uri = "/?locations", .order_by = {"kind"}}, &cursor), ZU_OK);
        zu_do_vtable *table = zu_do_vtable_new();
        EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1);
        // What a URI makes when it is asked is made by all threads at once.
        zu_do_uri *uri =
            zu_do_value_get_mr_uri(zu_do_vlist_get_value(zu_do_vtable_get(table, 0), 0), nullptr);
        EXPECT_STREQ(zu_do_uri_get_uri_str(zu_do_uri_get_parent_uri(uri)), "//");
        EXPECT_NE(zu_do_uri_segment_get_keys(zu_do_uri_get_segment(uri, 0)), nullptr);
        EXPECT_EQ(get(crudx, "/loose;c=1"), "_uri=/loose;c=1,a=-,b=-,c=1");
        zu_do_vtable_deref(table);
        cursor->ops->free(cursor);
      }
      crudx->ops->free(crudx);
      coll->ops->free(coll);
      data->ops->free(data);
    });
  }
  for (std::thread &thread : threads) thread.join();
}

TEST(store, many_records_are_found_at_once) {
  const test::balanced_memory balanced;
  constexpr int count = 100000;
  std::string text = "{\"records\": {";
  for (int i = 0; i < count; ++i) {
    text += (i == 0 ? "\"/a;n=" : ",\"/a;n=") + std::to_string(i / 2) + (i % 2 == 0 ? "" : "/b;m=1") +
            "\": {\"x\": \"some text\", \"y\": " + std::to_string(i) + "}";
  }
  store_of store(text + "}}");
  // Look-ups, not scans: a scan of the path for each would be billions of comparisons.
  for (int i = 0; i < count / 2; ++i) {
    const std::string uri = "/a;n=" + std::to_string(i);
    const std::string unit = uri + "/b;m=1 ";
    ASSERT_EQ(uris(store.coll(), {uri + "?b"}), unit);
    ASSERT_EQ(uris(store.coll(), {uri}), uri + " ");
    ASSERT_EQ(get(store.crudx(), uri.c_str()),
              "_uri=" + uri + ",n=" + std::to_string(i) + ",x=some text,y=" + std::to_string(i * 2));
  }
  zu_cursor *cursor = nullptr;
  ASSERT_EQ(open_cursor(store.coll(), {"/a/b"}, &cursor), ZU_OK);
  zu_do_vtable *table = zu_do_vtable_new();
  EXPECT_EQ(cursor->ops->fetch(cursor, 0, table), 1);
  EXPECT_EQ(zu_do_vtable_get_len(table), static_cast<size_t>(count / 2));
  zu_do_vtable_deref(table);
  cursor->ops->free(cursor);
}
