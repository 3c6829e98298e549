// What the data store answers: records, collections, queries, order, caching requests.
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <unistd.h>
#include <vector>

#include "store/store.h"
#include "support/objects.hpp"

using namespace test;

namespace {

constexpr uint64_t for_caching = 0x10000000;

const char *const network = R"({
  "records": {
    "/sys": {"hostname": "edge1", "secret": "x"},
    "//locations;loc=1": {"kind": "rack"},
    "//locations;loc=2": {"kind": "slot"},
    "/sys/ifc;n=e0": {"mtu": 9000, "description": "to core"},
    "/sys/ifc;n=e0/u;d=0": {"vlan": 10},
    "//locations;loc=2/sys/ifc;n=e0": {"mtu": 1500},
    "/sys/ifc;n=e1": {"enabled": false},
    "/sys/ifc;n=e1/u;d=0": {"vlan": 20},
    "//locations;loc=1/sys/ifc;n=e1": {"mtu": 1400, "speed": 1e9},
    "/sys/ifc;n=e0/u;d=1": {"vlan": 11},
    "/locations;n=1": {"kind": "room"},
    "/pair;a=1;b=2": {"l": [2]}, "/pair;a=1;b=3": {"l": [1]}, "/pair;a=2;b=2": {},
    "/loose;a=1": {}, "/loose;a=1;b=2": {}, "/loose;c=1": {}
  },
  "classes": {
    "/sys":     {"secret": {"type": "PasswordString"}, "domain": {"default": ""}},
    "/sys/ifc": {"mtu": {"default": 1500}, "enabled": {"default": true},
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
using own_cursor = std::unique_ptr<zu_cursor, freed_by_itself>;

// A data interface's two ways to read.
struct readers {
  explicit readers(zu_data_ifc *data) {
    EXPECT_EQ(data->ops->get_coll_ifc(data, &coll), ZU_OK);
    EXPECT_EQ(data->ops->get_crudx_ifc(data, &crudx), ZU_OK);
  }
  ~readers() {
    coll->ops->free(coll);
    crudx->ops->free(crudx);
  }
  zu_coll_ifc *coll = nullptr;
  zu_crudx_ifc *crudx = nullptr;
};

own_data given(zu_data_ifc *data, zu_do_error *error) {
  EXPECT_NE(data, nullptr) << (error == nullptr ? "no memory" : zu_do_error_get_msg(error));
  zu_do_error_deref(error);
  return own_data(data);
}

// The records of a text, imported into a database and read from there: of the server that STORE_SOURCE names,
// or a new file.
own_data load_from_database(std::string_view text) {
  static int number = 0;
  const char *source = std::getenv("STORE_SOURCE");
  const bool is_server = source != nullptr && std::string_view(source) != "sqlite";
  const std::string file = testing::TempDir() + "store_test." + std::to_string(getpid());
  const std::string name = (is_server ? source : "sqlite:" + file) + "?device=d" + std::to_string(++number);
  zu_do_error *error = nullptr;
  const bool imported = zu_store_import(text.data(), text.size(), name.c_str(), &error);
  zu_data_ifc *data = imported ? zu_store_open(name.c_str(), &error) : nullptr;
  for (const char *part : {"", "-wal", "-shm"})
    std::remove((file + part).c_str()); // while it is open it stays
  return given(data, error);
}

own_data load_from_file(std::string_view text) {
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_text("data", text.data(), text.size(), &error);
  return given(data, error);
}

// Loads from a file's text, or with STORE_SOURCE from a database: all tests here apply to every source.
own_data load(std::string_view text) {
  return std::getenv("STORE_SOURCE") != nullptr ? load_from_database(text) : load_from_file(text);
}

struct store_of {
  explicit store_of(std::string_view text) : data(load(text)), read(data.get()) {}
  own_data data;
  readers read;
  zu_coll_ifc *coll() { return read.coll; }
  zu_crudx_ifc *crudx() { return read.crudx; }
};

struct request {
  std::string uri;
  std::vector<std::pair<const char *, const char *>> query = {};
  std::vector<const char *> order_by = {};
  uint64_t flags = 0;
  uint32_t batch = 0;
};

int open_cursor(zu_coll_ifc *coll, const request &asked, own_cursor &cursor) {
  const own_uri uri(zu_do_uri_new(asked.uri.c_str()));
  const own_nlist fields(zu_do_nlist_new()), order_by(asked.order_by.empty() ? nullptr : zu_do_nlist_new());
  for (const char *name : asked.order_by) zu_do_nlist_add_string(order_by.get(), name);
  const own_nvlist query(asked.query.empty() ? nullptr : zu_do_nvlist_new());
  for (const auto &[name, value] : asked.query) zu_do_nvlist_add(query.get(), name, json(value).get());
  zu_cursor *opened = nullptr;
  const int code = coll->ops->open_cursor(coll, uri.get(), fields.get(), query.get(), order_by.get(),
                                          asked.flags, &opened);
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
  store_of store(network);
  for (const auto &[uri, expected] : {
           std::pair{"/sys", "_uri=/sys,secret=x:PasswordString,domain=*,hostname=edge1"},
           {"/sys/ifc;n=e0", "_uri=/sys/ifc;n=e0,n=e0,mtu=9000,enabled=true*,owner=a\\x0Ab:Owner*,"
                             "description=to core,speed=-"},
           {"//locations;loc=2/sys/ifc;n=e0",
            "_uri=//locations;loc=2/sys/ifc;n=e0,n=e0,mtu=1500*,enabled=true*,"
            "owner=a\\x0Ab:Owner*,description=-,speed=-"},
           {"//locations;loc=2", "_uri=//locations;loc=2,loc=2,kind=slot"},
           {"/loose;c=1", "_uri=/loose;c=1,a=-,b=-,c=1"},
           {"//locations;loc=1/sys/ifc;n=e0", "102"},
           {"/sys?ifc", "102"},
       }) {
    EXPECT_EQ(get(store.crudx(), uri), expected);
  }
  // A class may declare keys, and names may need escapes.
  store_of escaped(R"({"classes": {"/a": {"z": {}, "k": {"type": "Id", "default": "1"}}},
    "records": {"/a;k=1": {"q\"\\": 1, " spaced ": 2, "\u007a": 3}, "/a;j=2;k=2": {"\u0071\"\\": 4}}})");
  EXPECT_EQ(get(escaped.crudx(), "/a;k=1"), "_uri=/a;k=1,k=1:Id*,j=-,z=3,q\"\\=1,spaced=2");
  EXPECT_EQ(get(escaped.crudx(), "/a;j=2;k=2"), "_uri=/a;j=2;k=2,k=2:Id,j=2,z=-,q\"\\=4,spaced=-");
}

TEST(store, values_keep_their_types) {
  store_of store(R"({"classes": {"/r": {"t": {"type": "Text"}, "d": {"default": 5},
                                        "p": {"type": "T", "default": 1}, "n": {"default": null}}},
    "records": {
      "/r;k=1": {"k": 1, "u": 18446744073709551615, "z": null, "t": "a\nb\u0001", "a": [1, null, {"v": null}],
                 "w": {"v": {"Y": {"v": {"X": 3}}}}, "d": 5.0, "p": {"Q": 1}, "_pending_attrs": "mtu"},
      "/r;k=%2F%20": {"d": {"v": 5}, "n": null, "z": {"P": 1}}}})");
  EXPECT_EQ(get(store.crudx(), "/r;k=1"), "_uri=/r;k=1,k=1,t=a\nb\\x01:Text,d=5*,p=1:Q*,n=*,"
                                          "u=18446744073709551615,z=,a=1,,,w=3:Y,_pending_attrs=mtu");
  EXPECT_EQ(get(store.crudx(), "/r;k=%2f%20"),
            "_uri=/r;k=%2F%20,k=/ ,t=-,d=5*,p=1:T*,n=*,u=-,z=1:P,a=-,w=-,_pending_attrs=-");
}

// A key of a kind orders as such a value, and is still found by its text.
TEST(store, keys_of_a_kind) {
  store_of store(R"({"classes": {"/v": {"id": {"kind": "number", "type": "Id", "default": 9}}}, "records": {
    "/v;id=10": {}, "/v;id=9": {}, "/v;id=1.5": {}, "/v;id=9/p": {}}})");
  EXPECT_EQ(uris(store.coll(), {.uri = "/?v", .order_by = {"id"}}), "/v;id=1.5 /v;id=9 /v;id=10 ");
  EXPECT_EQ(uris(store.coll(), {.uri = "/v?id=10"}), "/v;id=10 ");
  EXPECT_EQ(uris(store.coll(), {.uri = "/v;id=9?p"}), "/v;id=9/p ");
  EXPECT_EQ(get(store.crudx(), "/v;id=9"), "_uri=/v;id=9,id=9:Id*");
}

TEST(store, collections) {
  store_of store(network);
  const std::string eth0 = "/sys/ifc;n=e0 ", eth1 = "/sys/ifc;n=e1 ";
  const std::string unit0 = "/sys/ifc;n=e0/u;d=0 ", unit1 = "/sys/ifc;n=e1/u;d=0 ";
  const std::string in1 = "//locations;loc=1" + eth1, in2 = "//locations;loc=2" + eth0;
  const std::string unit2 = "/sys/ifc;n=e0/u;d=1 ";
  for (const auto &[uri, expected] : {
           // parent?name
           std::pair{"/sys?ifc", eth0 + in2 + eth1 + in1},
           {"//?locations", "//locations;loc=1 //locations;loc=2 "},
           {"/?locations", "//locations;loc=1 //locations;loc=2 /locations;n=1 "},
           // a path, with some, all or no keys
           {"/sys/ifc/u", unit0 + unit1 + unit2},
           {"//locations/sys/ifc", in2 + in1},
           {"//locations", "//locations;loc=1 //locations;loc=2 "},
           {"/pair;b=2", "/pair;a=1;b=2 /pair;a=2;b=2 "},
           {"/loose;a=1", "/loose;a=1 /loose;a=1;b=2 "},
           {"/sys;x=1", ""},
           // path?name=value
           {"/sys/ifc?mtu=1500", in2 + eth1},
           {"//locations;loc=1/sys/ifc?mtu=1400", in1},
           {"/sys/ifc?enabled=true", eth0 + in2 + in1},
       }) {
    EXPECT_EQ(uris(store.coll(), {uri}), expected) << uri;
  }
}

TEST(store, queries_and_order) {
  store_of store(R"({"records": {
    "/a;n=1": {"x": "b", "g": 1}, "/a;n=2": {"x": 10, "g": 1}, "/a;n=3": {"x": null, "g": 2},
    "/a;n=4": {"x": 9.5, "g": 2}, "/a;n=5": {"x": true, "g": 1}, "/a;n=6": {"x": "B", "g": 1},
    "/a;n=7": {"g": 2}, "/a;n=8": {"x": false, "g": 1}, "/a;n=9": {"x": ["q"], "g": 1}}})");
  const std::pair<request, const char *> rows[] = {
      {{.uri = "/?a", .order_by = {"x"}}, "378542619"},
      {{.uri = "/?a", .order_by = {"g", "x"}}, "852619374"},
      {{.uri = "/?a", .query = {{"g", "\"1\""}, {"x", "\"true\""}}}, "5"},
      {{.uri = "/?a", .query = {{"x", "\"\""}}}, "37"},
      {{.uri = "/?a", .query = {{"x", "\"q\""}}}, "9"},
      {{.uri = "/?a", .query = {{"_uri", "\"/a;n=4\""}}}, "4"},
      {{.uri = "/a?g=2", .query = {{"g", "2"}}, .order_by = {"x", "n"}}, "374"},
  };
  for (const auto &[asked, expected] : rows) {
    std::string digits;
    for (const char c : uris(store.coll(), asked)) digits += isdigit(c) ? std::string(1, c) : "";
    EXPECT_EQ(digits, expected);
  }
}

TEST(store, a_cursor_keeps_the_snapshot_and_its_place) {
  own_cursor cursor;
  ASSERT_EQ(open_cursor(store_of(network).coll(), {"/?pair"}, cursor), ZU_OK);
  const own_columns foreign(zu_do_ntlist_new());
  EXPECT_EQ(fetch(cursor, 0, own_table(zu_do_vtable_new_from_ntlist(foreign.get()))), ZU_FAILED);
  const own_table table(zu_do_vtable_new());
  const std::pair<uint32_t, int> fetches[] = {{2, 0}, {4000000000u, 1}, {0, 1}};
  for (const auto &[count, code] : fetches) EXPECT_EQ(fetch(cursor, count, table), code);
  EXPECT_EQ(zu_do_vtable_get_len(table.get()), 3u);
}

TEST(store, rows_of_several_paths_have_the_columns_of_all) {
  store_of store(network);
  for (const uint32_t batch : {1, 2, 0}) {
    own_cursor cursor;
    ASSERT_EQ(open_cursor(store.coll(), {.uri = "/?locations", .order_by = {"kind"}}, cursor), ZU_OK);
    const own_table table(zu_do_vtable_new());
    std::vector<size_t> lengths;
    for (int code = 0; code == 0; lengths.push_back(zu_do_vtable_get_len(table.get()))) {
      code = fetch(cursor, batch, table);
    }
    EXPECT_EQ(lengths, batch == 1   ? (std::vector<size_t>{1, 2, 3})
                       : batch == 2 ? (std::vector<size_t>{2, 3})
                                    : std::vector<size_t>{3});
    std::string text;
    for (size_t i = 0; i < zu_do_vtable_get_len(table.get()); ++i) {
      zu_do_vlist *row = zu_do_vtable_get(table.get(), i);
      zu_do_ntlist *columns = zu_do_vtable_get_ntlist(table.get());
      text += show(own_record(offered.new_from_row(nullptr, columns, row)).get()) + "\n";
    }
    EXPECT_EQ(text, "_uri=//locations;loc=1,loc=1,kind=rack,n=-\n_uri=/locations;n=1,loc=-,kind=room,n=1\n"
                    "_uri=//locations;loc=2,loc=2,kind=slot,n=-\n");
  }
}

TEST(store, caching_requests) {
  store_of store(network);
  const std::string of_eth0 = "/sys/ifc;n=e0/u;d=0 /sys/ifc;n=e0/u;d=1 ";
  const std::string of_eth1 = "/sys/ifc;n=e1/u;d=0 ";
  const std::string units = "/sys/ifc;n=e0/u;d=0 " + of_eth1 + "/sys/ifc;n=e0/u;d=1 ";
  const std::pair<request, std::string> rows[] = {
      {{.uri = "/sys/ifc;n=e0", .flags = for_caching}, "103"},
      {{.uri = "/sys/ifc?mtu=1500", .flags = for_caching}, "103"},
      // A collection without instances does not count.
      {{.uri = "/sys/ifc;n=e9?u", .flags = for_caching}, ""},
      {{.uri = "/sys/ifc;n=e1?u", .flags = for_caching, .batch = 1}, units},
      {{.uri = "/sys/ifc;n=e0?u", .flags = for_caching, .batch = 1}, of_eth0},
      // Each flag word counts for itself, and so does each path.
      {{.uri = "/sys/ifc;n=e0?u", .order_by = {"vlan"}, .flags = for_caching | 0x10}, of_eth0 + of_eth1},
      {{.uri = "/sys/ifc;n=e0?u", .flags = for_caching | 0x10}, of_eth0},
      {{.uri = "//locations;loc=1/sys?ifc", .flags = for_caching},
       "/sys/ifc;n=e0 //locations;loc=2/sys/ifc;n=e0 /sys/ifc;n=e1 //locations;loc=1/sys/ifc;n=e1 "},
      {{.uri = "//locations;loc=1/sys?ifc", .flags = for_caching}, "//locations;loc=1/sys/ifc;n=e1 "},
  };
  for (const auto &[asked, expected] : rows) EXPECT_EQ(uris(store.coll(), asked), expected) << asked.uri;
  const readers another(store.data.get());
  EXPECT_EQ(uris(another.coll, {.uri = "/sys/ifc;n=e1?u", .flags = for_caching}), units);
}

// Generated records and requests: what a database answers is what a file does.
TEST(store, a_database_answers_as_a_file) {
  if (!zu_store_has("sqlite") && std::getenv("STORE_SOURCE") == nullptr)
    GTEST_SKIP() << "built without SQLite, and no server is named";
  std::mt19937 random(7);
  const auto pick = [&random](auto... of) {
    const std::string all[] = {of...};
    return all[random() % std::size(all)];
  };
  bool alike = false; // the records of a path have the same keys
  const auto record_uri = [&] {
    const std::string location = pick("", "", "/", "//locations;loc=1", "//locations;loc=2");
    if (location == "/") return "//locations;loc=" + pick("1", "2", "3");
    if (alike)
      return location + "/a;k=" + pick("1", "2") + ";j=" + pick("1", "2") +
             pick("", "/c;k=" + pick("1", "2"));
    std::string uri = location + pick("/a", "/b") + pick("", ";k=1", ";k=2", ";j=1", ";j=1;k=%2F");
    for (size_t deeper = random() % 3; deeper > 0; --deeper)
      uri += pick("/c", "/d") + pick("", ";k=1", ";k=2");
    return uri;
  };
  for (int round = 0; round < 20; ++round) {
    alike = round % 2 == 0;
    std::string records;
    std::set<std::string> uris_of_records;
    for (int i = 0; i < 40; ++i) {
      const std::string uri = record_uri();
      if (!uris_of_records.insert(uri).second) continue;
      records += (records.empty() ? "\"" : ",\"") + uri + "\": {" +
                 pick("", "\"x\": 1", "\"x\": \"1\", \"y\": [2]", "\"y\": null, \"x\": 10") + "}";
    }
    const std::string text = R"({"classes": {"/a": {"z": {"default": 5}}, "/a/c": {"k": {"type": "Key"}}},
                                 "records": {)" +
                             records + "}}";
    const own_data file = load_from_file(text), database = load_from_database(text);
    const readers from_file(file.get()), from_database(database.get());
    for (int i = 0; i < 300; ++i) {
      request asked{.uri = record_uri() + pick("", "?c", "?d", "?k=1", "?x=1"),
                    .batch = static_cast<uint32_t>(random() % 3)};
      if (random() % 8 == 0)
        asked.uri = pick("/?a", "/?b", "/?locations", "//?locations", "/a", "/a/c", "//locations;loc=1?a");
      if (random() % 4 == 0) asked.order_by = {"x", "k"};
      if (random() % 4 == 0)
        asked.query = {{random() % 2 == 0 ? "k" : "x", random() % 2 == 0 ? "\"1\"" : "1"}};
      EXPECT_EQ(uris(from_database.coll, asked), uris(from_file.coll, asked)) << asked.uri << "\n" << text;
      EXPECT_EQ(get(from_database.crudx, asked.uri), get(from_file.crudx, asked.uri)) << asked.uri << "\n"
                                                                                      << text;
    }
    if (HasFailure()) break;
  }
}

// The code shows a host whether a file cannot be opened or has bad content.
TEST(store, what_cannot_be_opened_has_a_code_of_its_own) {
  const std::string text = testing::TempDir() + "store_text." + std::to_string(getpid());
  std::ofstream(text)
      << "no data, and longer than the head of a database file is: 100 bytes at least have to be there";
  const char *source = std::getenv("STORE_SOURCE");
  const std::string scheme = source == nullptr                 ? ""
                             : std::string(source) == "sqlite" ? "sqlite:"
                                                               : "redis+unix:";
  for (const auto &[name, wanted] :
       {std::pair{std::string("/nowhere/it"), ZU_CANNOT_OPEN}, {text, ZU_FAILED}}) {
    if (scheme.starts_with("redis") && wanted == ZU_FAILED) continue; // no server is behind a file either
    zu_do_error *error = nullptr;
    EXPECT_EQ(zu_store_open((scheme + name).c_str(), &error), nullptr);
    EXPECT_EQ(zu_do_error_get_code(error), wanted) << zu_do_error_get_msg(error);
    zu_do_error_deref(error);
  }
  std::remove(text.c_str());
}

TEST(store, tells_every_path_or_why_not) {
  const own_data data = load(network);
  using counts = std::map<std::string, size_t>;
  const counts all = {{"/sys", 1},       {"//locations", 2}, {"/sys/ifc", 4}, {"/sys/ifc/u", 3},
                      {"/locations", 1}, {"/pair", 3},       {"/loose", 3},   {"/unused", 0}};
  const auto told = [&](int &code) {
    counts seen;
    const auto take = [](void *into, const char *path, size_t length, zu_do_vtable *records) {
      (*static_cast<counts *>(into))[{path, length}] = zu_do_vtable_get_len(records);
    };
    code = zu_store_each_path(data.get(), take, &seen);
    return seen;
  };
  int code = ZU_FAILED;
  EXPECT_EQ(told(code), all); // a database has been read then
  fail_each_allocation([&] {
    const counts seen = told(code);
    EXPECT_TRUE(code == ZU_OK ? seen == all : code == ZU_EXHAUSTED && seen.size() < all.size());
    return code == ZU_OK;
  });
}
