// What the data store answers: records, collections, queries, order, caching requests; and its wrapper.
#include <array>
#include <thread>
#include <vector>

#include "store/store.h"
#include "support/objects.hpp"

using namespace test;

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

struct freed_by_itself {
  template <class T>
  void operator()(T *object) const {
    object->ops->free(object);
  }
};
using own_data = std::unique_ptr<zu_data_ifc, freed_by_itself>;
using own_coll = std::unique_ptr<zu_coll_ifc, freed_by_itself>;
using own_crudx = std::unique_ptr<zu_crudx_ifc, freed_by_itself>;
using own_cursor = std::unique_ptr<zu_cursor, freed_by_itself>;

own_data load(std::string_view text) {
  zu_do_error *error = nullptr;
  own_data data(zu_store_load_text("data", text.data(), text.size(), &error));
  EXPECT_NE(data, nullptr) << (error == nullptr ? "no memory" : zu_do_error_get_msg(error));
  zu_do_error_deref(error);
  return data;
}

// A data interface's two ways to read.
struct readers {
  explicit readers(zu_data_ifc *data) {
    zu_coll_ifc *coll_ifc = nullptr;
    zu_crudx_ifc *crudx_ifc = nullptr;
    EXPECT_EQ(data->ops->get_coll_ifc(data, &coll_ifc), ZU_OK);
    EXPECT_EQ(data->ops->get_crudx_ifc(data, &crudx_ifc), ZU_OK);
    coll.reset(coll_ifc);
    crudx.reset(crudx_ifc);
  }
  own_coll coll;
  own_crudx crudx;
};

// A store and its readers.
struct store_of {
  explicit store_of(std::string_view text) : data(load(text)), read(data.get()) {}
  own_data data;
  readers read;
  zu_coll_ifc *coll() { return read.coll.get(); }
  zu_crudx_ifc *crudx() { return read.crudx.get(); }
};

struct request {
  std::string uri;
  std::vector<std::pair<const char *, zu_do_value *>> query = {}; // the values are taken over
  std::vector<const char *> order_by = {};
  uint64_t flags = 0;
  uint32_t batch = 0;
};

own_nlist names_of(const std::vector<const char *> &texts) {
  own_nlist names(zu_do_nlist_new());
  for (const char *text : texts) zu_do_nlist_add_string(names.get(), text);
  return names;
}

int open_cursor(zu_coll_ifc *coll, const request &asked, own_cursor &cursor) {
  const own_uri uri(zu_do_uri_new(asked.uri.c_str()));
  EXPECT_NE(uri, nullptr) << asked.uri;
  const own_nlist fields = names_of({}), order_by = names_of(asked.order_by);
  const own_nvlist query(asked.query.empty() ? nullptr : zu_do_nvlist_new());
  for (const auto &[name, value] : asked.query) {
    zu_do_nvlist_add(query.get(), name, value);
    zu_do_value_deref(value);
  }
  zu_cursor *opened = nullptr;
  const int code =
      coll->ops->open_cursor(coll, uri.get(), fields.get(), query.get(),
                             asked.order_by.empty() ? nullptr : order_by.get(), asked.flags, &opened);
  cursor.reset(opened);
  return code;
}

int fetch(const own_cursor &cursor, uint32_t count, const own_table &table) {
  return cursor->ops->fetch(cursor.get(), count, table.get());
}

// The URIs of the answer, each followed by a blank, "|" after every fetch; or the code of the failure.
std::string uris(zu_coll_ifc *coll, const request &asked) {
  own_cursor cursor;
  if (const int code = open_cursor(coll, asked, cursor)) return std::to_string(code);
  std::string text;
  for (int code = 0; code == 0; text += "|") {
    const own_table table(zu_do_vtable_new());
    code = fetch(cursor, asked.batch, table);
    EXPECT_TRUE(code == 0 || code == 1) << code;
    for (size_t i = 0; i < zu_do_vtable_get_len(table.get()); ++i) {
      text += display(zu_do_vlist_get_value(zu_do_vtable_get(table.get(), i), 0)) + " ";
    }
  }
  EXPECT_NE(cursor->ops->status(cursor.get()), nullptr);
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

std::string get(zu_crudx_ifc *crudx, const std::string &uri_text) {
  const own_uri uri(zu_do_uri_new(uri_text.c_str()));
  const own_record record(zu_do_properties_new());
  zu_do_properties_set_mr_uri(record.get(), ZU_DO_NAME_URI, uri.get());
  const int code = crudx->ops->get(crudx, uri.get(), nullptr, 0, record.get());
  return code == ZU_OK ? show(record.get()) : std::to_string(code);
}

} // namespace

TEST(store, records_have_keys_class_and_other_properties_in_order) {
  const balanced_memory balanced;
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
  const balanced_memory balanced;
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
  const balanced_memory balanced;
  store_of store(R"({"classes": {"/a": {"z": {}, "k": {"type": "Id", "default": "1"}}},
    "records": {"/a;k=1": {"q\"\\": 1, " spaced ": 2, "\u007a": 3}, "/a;j=2;k=2": {"\u0071\"\\": 4}}})");
  EXPECT_EQ(get(store.crudx(), "/a;k=1"), "_uri=/a;k=1,k=1:Id*,j=-,z=3,q\"\\=1,spaced=2");
  EXPECT_EQ(get(store.crudx(), "/a;j=2;k=2"), "_uri=/a;j=2;k=2,k=2:Id,j=2,z=-,q\"\\=4,spaced=-");
}

TEST(store, get_keeps_what_the_caller_set) {
  const balanced_memory balanced;
  store_of store(network);
  const own_uri uri(zu_do_uri_new("/system/ifc;name=eth0")), mine(zu_do_uri_new("/mine"));
  const own_record record(zu_do_properties_new());
  zu_do_properties_set_mr_uri(record.get(), ZU_DO_NAME_URI, mine.get());
  zu_do_properties_set_int(record.get(), "mtu", 1);
  zu_do_properties_set_int(record.get(), "mine", 2);
  ASSERT_EQ(store.crudx()->ops->get(store.crudx(), uri.get(), "any", 0x110, record.get()), ZU_OK);
  EXPECT_EQ(show(record.get()), "_uri=/mine,name=eth0,mtu=9000,enabled=true*,owner=a\\x0Ab:Owner*,"
                                "description=to core,speed=-,mine=2");
  // What is set later stands over the record; the store's own stays as it is.
  zu_do_properties_set_int(record.get(), "mtu", 3);
  EXPECT_EQ(zu_do_properties_get_int(record.get(), "mtu", nullptr), 3);
  EXPECT_NE(get(store.crudx(), "/system/ifc;name=eth0").find("mtu=9000"), std::string::npos);
  EXPECT_EQ(store.crudx()->ops->get(store.crudx(), nullptr, nullptr, 0, nullptr), ZU_FAILED);
}

TEST(store, collections) {
  const balanced_memory balanced;
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
      {"/system/ifc;name=eth0?unit", unit0 + unit2},
      {"/system/ifc?unit", ""},
      {"/?system", "/system "},
      {"//?locations", "//locations;loc=1 //locations;loc=2 "},
      {"/?locations", "//locations;loc=1 //locations;loc=2 /locations;n=1 "},
      // a path, with some, all or no keys
      {"/system/ifc", eth0 + in2 + eth1 + in1},
      {"/system/ifc;name=eth1", eth1 + in1},
      {"/system/ifc/unit", unit0 + unit1 + unit2},
      {"/system/ifc;name=eth0/unit", unit0 + unit2},
      {"/system/ifc;name=eth0/unit;id=1", unit2},
      {"//locations;loc=2/system/ifc;name=eth0", in2},
      {"//locations/system/ifc", in2 + in1},
      {"//locations", "//locations;loc=1 //locations;loc=2 "},
      {"/locations", "/locations;n=1 "},
      {"/pair;b=2", "/pair;a=1;b=2 /pair;a=2;b=2 "},
      {"/pair;b=2;a=1", "/pair;a=1;b=2 "},
      {"/loose;a=1", "/loose;a=1 /loose;a=1;b=2 "},
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
  };
  for (const auto &[uri, expected] : rows) EXPECT_EQ(uris(store.coll(), {uri}), expected) << uri;
}

TEST(store, queries_and_order) {
  const balanced_memory balanced;
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
  EXPECT_EQ(digits({.uri = "/?a",
                    .query = {{"g", zu_do_value_new_string("1")}, {"x", zu_do_value_new_string("true")}}}),
            "5");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"x", zu_do_value_new_string("")}}}), "37");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"x", zu_do_value_new_string("q")}}}), "9");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"none", zu_do_value_new_string("1")}}}), "");
  EXPECT_EQ(digits({.uri = "/a?g=2", .query = {{"g", zu_do_value_new_string("2")}}, .order_by = {"x", "n"}}),
            "374");
  EXPECT_EQ(digits({.uri = "/?a", .query = {{"_uri", zu_do_value_new_string("/a;n=4")}}}), "4");
}

TEST(store, fetches_in_batches) {
  const balanced_memory balanced;
  store_of store(network);
  const std::string all = "/pair;a=1;b=2 /pair;a=1;b=3 /pair;a=2;b=2 ";
  const std::pair<uint32_t, std::string> rows[] = {
      {0, all},
      {1, "/pair;a=1;b=2 |/pair;a=1;b=3 |/pair;a=2;b=2 "},
      {2, "/pair;a=1;b=2 /pair;a=1;b=3 |/pair;a=2;b=2 "},
      {3, all},
      {4000000000u, all},
  };
  for (const auto &[batch, expected] : rows)
    EXPECT_EQ(uris(store.coll(), {.uri = "/?pair", .batch = batch}), expected);

  own_cursor cursor;
  ASSERT_EQ(open_cursor(store.coll(), {"/?pair"}, cursor), ZU_OK);
  const own_columns foreign(zu_do_ntlist_new());
  EXPECT_EQ(fetch(cursor, 0, own_table(zu_do_vtable_new_from_ntlist(foreign.get()))), ZU_FAILED);
  EXPECT_EQ(fetch(cursor, 0, nullptr), ZU_FAILED);
  const own_table table(zu_do_vtable_new());
  EXPECT_EQ(fetch(cursor, 2, table), 0);
  EXPECT_EQ(fetch(cursor, 0, table), 1);
  EXPECT_EQ(fetch(cursor, 0, table), 1) << "at the end";
  EXPECT_EQ(zu_do_vtable_get_len(table.get()), 3u);
  EXPECT_EQ(zu_do_ntlist_get_len(zu_do_vtable_get_ntlist(table.get())), 4u);
}

TEST(store, rows_of_several_paths_have_the_columns_of_all) {
  const balanced_memory balanced;
  store_of store(network);
  for (const uint32_t batch : {0u, 1u}) {
    own_cursor cursor;
    ASSERT_EQ(open_cursor(store.coll(), {.uri = "/?locations", .order_by = {"kind"}}, cursor), ZU_OK);
    const own_table table(zu_do_vtable_new());
    while (fetch(cursor, batch, table) == 0) {
    }
    std::string text;
    for (size_t i = 0; i < zu_do_vtable_get_len(table.get()); ++i) {
      const own_record record(zu_do_properties_new_from_row(zu_do_vtable_get_ntlist(table.get()),
                                                            zu_do_vtable_get(table.get(), i)));
      text += show(record.get()) + "\n";
    }
    EXPECT_EQ(text, "_uri=//locations;loc=1,loc=1,kind=rack,n=-\n"
                    "_uri=/locations;n=1,loc=-,kind=room,n=1\n"
                    "_uri=//locations;loc=2,loc=2,kind=slot,n=-\n");
  }
}

TEST(store, caching_requests) {
  const balanced_memory balanced;
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

  const readers another(store.data.get());
  EXPECT_EQ(uris(another.coll.get(), {.uri = "/system/ifc;name=eth1?unit", .flags = for_caching}), units);
}

TEST(store, a_cursor_keeps_the_snapshot) {
  const balanced_memory balanced;
  own_cursor cursor;
  ASSERT_EQ(open_cursor(store_of(network).coll(), {"/?pair"}, cursor), ZU_OK);
  const own_table table(zu_do_vtable_new());
  EXPECT_EQ(fetch(cursor, 0, table), 1);
  EXPECT_EQ(zu_do_vtable_get_len(table.get()), 3u);
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
    SCOPED_TRACE(asked.uri);
    const own_nlist order_by = names_of(asked.order_by);
    fail_each_allocation([&, &asked = asked, count = count] {
      const own_uri uri(zu_do_uri_new(asked.uri.c_str()));
      const own_table table(zu_do_vtable_new());
      if (uri == nullptr || table == nullptr) return false;
      zu_coll_ifc *coll = nullptr;
      zu_cursor *cursor = nullptr;
      int code = store.data->ops->get_coll_ifc(store.data.get(), &coll);
      const own_coll held_coll(coll);
      if (code == 0)
        code = coll->ops->open_cursor(coll, uri.get(), nullptr, nullptr, order_by.get(), 0, &cursor);
      const own_cursor held(cursor);
      if (code == 0) code = fetch(held, 0, table);
      qmalloc_fail_nth(0, false);
      EXPECT_EQ(code, qmalloc_fail_fired() != 0 ? ZU_EXHAUSTED : 1);
      // What failed changed nothing: the rows are still there.
      EXPECT_TRUE(held == nullptr || fetch(held, 0, table) == 1);
      EXPECT_TRUE(held == nullptr || zu_do_vtable_get_len(table.get()) == count);
      return code == 1;
    });
  }
  const own_uri first(zu_do_uri_new("/system")), second(zu_do_uri_new("/system/ifc;name=eth0"));
  fail_each_allocation([&] {
    zu_crudx_ifc *crudx = nullptr;
    const own_record record(zu_do_properties_new());
    if (record == nullptr || store.data->ops->get_crudx_ifc(store.data.get(), &crudx) != ZU_OK) return false;
    const own_crudx held(crudx);
    EXPECT_EQ(crudx->ops->get(crudx, first.get(), nullptr, 0, record.get()), ZU_OK);
    // A record that is a view already takes the second record's properties one by one.
    const int code = crudx->ops->get(crudx, second.get(), nullptr, 0, record.get());
    EXPECT_EQ(code, qmalloc_fail_fired() != 0 ? ZU_EXHAUSTED : ZU_OK);
    EXPECT_EQ(zu_do_properties_get_len(record.get()), code == ZU_OK ? 10u : 4u);
    return code == ZU_OK;
  });
}

TEST(store, wrapper_counts_watches_and_fails) {
  const balanced_memory balanced;
  const qmalloc_counters before = qmalloc_count(0);
  store_of store(network);
  zu_store_wrapper *wrapper = zu_store_wrapper_new(store.data.get());
  std::string seen;
  const auto watch = [](void *context, zu_store_call call, const char *uri, uint64_t flags) {
    *static_cast<std::string *>(context) +=
        std::to_string(call) + " " + uri + " " + std::to_string(flags) + ";";
  };
  zu_store_wrapper_watch(wrapper, watch, &seen);
  {
    const readers read(zu_store_wrapper_ifc(wrapper));
    zu_coll_ifc *coll = read.coll.get();
    zu_crudx_ifc *crudx = read.crudx.get();
    EXPECT_EQ(uris(coll, {.uri = "/?pair", .flags = 7, .batch = 2}),
              "/pair;a=1;b=2 /pair;a=1;b=3 |/pair;a=2;b=2 ");
    EXPECT_EQ(get(crudx, "/none"), "102");
    EXPECT_EQ(seen, "2 /?pair 7;4 /none 0;");
    const std::array<uint64_t, ZU_CALL_COUNT> expected = {1, 1, 1, 2, 1};
    for (size_t call = 0; call < expected.size(); ++call) {
      EXPECT_EQ(zu_store_wrapper_calls(wrapper, static_cast<zu_store_call>(call)), expected[call]);
    }
    EXPECT_EQ(zu_store_wrapper_rows(wrapper), 3u);
    zu_store_wrapper_reset(wrapper);
    EXPECT_EQ(zu_store_wrapper_rows(wrapper) + zu_store_wrapper_calls(wrapper, ZU_CALL_GET), 0u);

    zu_store_wrapper_fail(wrapper, ZU_CALL_GET, 2, 77);
    for (const char *code : {"102", "77", "102"}) EXPECT_EQ(get(crudx, "/none"), code);
    EXPECT_EQ(zu_store_wrapper_fired(wrapper), 1u);
    zu_store_wrapper_fail_any(wrapper, 2, 88);
    EXPECT_EQ(get(crudx, "/none"), "102");
    EXPECT_EQ(uris(coll, {.uri = "/?pair"}), "88");
    zu_store_wrapper_fail_any(wrapper, 1, 88);
    zu_store_wrapper_fail_any(wrapper, 0, 88);
    EXPECT_EQ(get(crudx, "/none"), "102");
    EXPECT_EQ(zu_store_wrapper_fired(wrapper), 0u);
    zu_store_wrapper_free(wrapper);
    EXPECT_EQ(get(crudx, "/none"), "102") << "what was reached through it goes on";
  }
  EXPECT_EQ(qmalloc_count(0).live_blocks, before.live_blocks);
}

TEST(store, threads_read_one_snapshot) {
  const balanced_memory balanced;
  store_of store(network);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([data = store.data.get()] {
      const readers read(data);
      for (int round = 0; round < 100; ++round) {
        own_cursor cursor;
        ASSERT_EQ(open_cursor(read.coll.get(), {.uri = "/?locations", .order_by = {"kind"}}, cursor), ZU_OK);
        const own_table table(zu_do_vtable_new());
        EXPECT_EQ(fetch(cursor, 0, table), 1);
        // What a URI makes when it is asked is made by all threads at once.
        zu_do_uri *uri =
            zu_do_value_get_mr_uri(zu_do_vlist_get_value(zu_do_vtable_get(table.get(), 0), 0), nullptr);
        EXPECT_EQ(text_of(zu_do_uri_get_parent_uri(uri)), "//");
        EXPECT_NE(zu_do_uri_segment_get_keys(zu_do_uri_get_segment(uri, 0)), nullptr);
        EXPECT_EQ(get(read.crudx.get(), "/loose;c=1"), "_uri=/loose;c=1,a=-,b=-,c=1");
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
}

TEST(store, many_records_are_found_at_once) {
  constexpr int count = 50000;
  std::string text;
  for (int i = 0; i < count; ++i) {
    const std::string uri = "\"/a;n=" + std::to_string(i);
    text += (i == 0 ? "" : ",") + uri + "\": {\"x\": \"some text\", \"y\": " + std::to_string(i) + "}," +
            uri + "/b;m=1\": {}";
  }
  store_of store("{\"records\": {" + text + ",\"//l;l=1/a;n=0\": {}}}");
  // Look-ups, not scans: a scan of the path for each would be billions of comparisons.
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i), uri = "/a;n=" + number;
    const std::string located = i == 0 ? "//l;l=1/a;n=0 " : "";
    ASSERT_EQ(uris(store.coll(), {uri + "?b"}), uri + "/b;m=1 ");
    ASSERT_EQ(uris(store.coll(), {uri}), uri + " " + located);
    ASSERT_EQ(uris(store.coll(), {"//l;l=1" + uri}), located);
    ASSERT_EQ(get(store.crudx(), uri), "_uri=" + uri + ",n=" + number + ",x=some text,y=" + number);
  }
}
