// Collection and get-one nodes over the embedded store: how many requests a render costs.
#include "support.h"
#include "support/session.hpp"

namespace {

using lines = std::vector<std::string>;

// A node, and what is printed below it.
std::string node(const std::string &id, const std::string &parent, const char *op, const std::string &uri,
                 const std::string &shown) {
  return "Cmd: " + id + "\nParent Cmd: " + parent + "\nOp: " + op + "\nUri: " + uri + "\nCmd: " + id +
         "-line\nParent Cmd: " + id + "\nOp: print_if\nFmt: " + shown + "\n";
}

// Interfaces with three units each; the second has none, the fourth has a limit.
struct device {
  device(const std::string &location, int interfaces) : data(records(location, interfaces)) {
    zu_store_wrapper_watch(wrapper, watch, this);
  }
  ~device() {
    templates.write("a.tvr", "Cmd: x\nOp: wrong\n");
    zu_do_error_deref(render_tovra_reload_func()); // leaves no tree
    unsetenv("ZU_TVR_COLL_FETCH_COUNT");
    zu_store_wrapper_free(wrapper);
  }
  device(const device &) = delete;
  device &operator=(const device &) = delete;

  void load(const std::string &nodes, const char *fetch_count) {
    setenv("ZU_TVR_COLL_FETCH_COUNT", fetch_count, 1);
    templates.write("a.tvr", "Cmd: config\n" + nodes);
    EXPECT_EQ(render_tovra_reload_func(), nullptr);
  }

  static std::string records(const std::string &location, int interfaces) {
    std::string text;
    for (int n = 0; n < interfaces; ++n) {
      const std::string name = "e" + std::to_string(n), ifc = location + "/sys/ifc;name=" + name;
      text += (n > 0 ? ", \"" : "\"") + ifc + R"(": {"name": ")" + name + "\"}";
      for (const char *id : {"1", "2", "3"}) {
        if (n != 1) text += ", \"" + ifc + "/unit;id=" + id + R"(": {"id": )" + id + "}";
      }
      if (n == 3) text += ", \"" + ifc + R"(/limit": {"speed": 7})";
    }
    return R"({"records": {)" + text + "}}";
  }
  static void watch(void *self, zu_store_call call, const char *uri, uint64_t) {
    static_cast<device *>(self)->calls.push_back((call == ZU_CALL_GET ? "get " : "open ") + std::string(uri));
  }

  host::templates templates;
  host::store data;
  zu_store_wrapper *wrapper = zu_store_wrapper_new(data.get());
  host::session session{zu_store_wrapper_ifc(wrapper)};
  lines calls;
};

struct retrieval_store : testing::Test {
  static void SetUpTestSuite() { const device first("", 1); } // what a failed load keeps is there from now on
};

TEST_F(retrieval_store, requests_of_a_render) {
  const std::string chassis = "//locations;loc=1";
  const struct { std::string records, nodes; } places[] = {{"", ""}, {chassis, chassis}, {chassis, ""}};
  for (const auto &[records, nodes] : places) {
    const std::string ifc = nodes + "/sys/ifc;name=";
    const auto opened = [&](const lines &collections) {
      lines all = {"open " + nodes + "/sys?ifc"};
      for (const auto &one : collections) all.push_back("open " + ifc + one);
      return all;
    };
    const struct {
      std::string below, text;
      lines calls;
    } cases[] = {
        // A nested list costs one request, and one more for each parent without instances; a second reader of
        // it one for each parent with instances.
        {node("units", "ifs", "get_collection", ifc + "$?unit", "u") +
             node("again", "ifs", "get_collection", ifc + "$?unit", "a"),
         "iuuuaaaiiuuuaaaiuuuaaa", opened({"e0?unit", "e0?unit", "e1?unit", "e2?unit", "e3?unit"})},
        // Single records below parents cost one, and one more for each parent whose own collection lacks the
        // record.
        {node("two", "ifs", "get_one", ifc + "$/unit;id=2", "2") +
             node("three", "ifs", "get_one", ifc + "$/unit;id=3", "3") +
             node("nine", "ifs", "get_one", ifc + "$/unit;id=9", "9") +
             node("limit", "ifs", "get_one", ifc + "$/limit", "l"),
         "i23ii23i23l",
         opened(
             {"e0?unit", "e0?limit", "e1?unit", "e1?limit", "e2?unit", "e2?limit", "e3?unit", "e3?limit"})},
    };
    for (const auto &c : cases) {
      for (const char *fetch_count : {"0", "1", "2", "3"}) {
        SCOPED_TRACE(c.text + ", fetch count " + fetch_count);
        const test::trace_log traces;
        device with(records, 4);
        with.load(node("ifs", "config", "get_collection", nodes + "/sys?ifc", "i") + c.below, fetch_count);
        EXPECT_TRUE(with.session.render());
        EXPECT_EQ(with.session.text, c.text);
        EXPECT_EQ(with.calls, c.calls);
        EXPECT_EQ(traces.count("(ERR)"), 0);
      }
    }
  }
}

// A record costs its view, whatever the size of the collection, and nothing more when it waits for its node.
// Each interface has three units here, and costs two blocks for the URI of its units.
TEST_F(retrieval_store, a_row_costs_one_allocation) {
  const auto blocks_of = [](int interfaces, const std::string &below) {
    device with("", interfaces);
    with.load("Cmd: ifs\nParent Cmd: config\nOp: get_collection\nUri: /sys?ifc\n" + below, "0");
    EXPECT_TRUE(with.session.render());
    const auto blocks = [] {
      return qmalloc_count(ZU_TVR_AREA).total_blocks + qmalloc_count(ZU_DO_AREA).total_blocks;
    };
    const int64_t before = blocks();
    EXPECT_TRUE(with.session.render());
    return blocks() - before;
  };
  const auto each = [&](const std::string &below) {
    return static_cast<double>(blocks_of(300, below) - blocks_of(200, below)) / 100;
  };
  const std::string unit = "Cmd: unit\nParent Cmd: ifs\nOp: ";
  EXPECT_LT(each(""), 1.1);
  EXPECT_LT(each(unit + "get_collection\nUri: /sys/ifc;name=$?unit\n"), 6.1);
  EXPECT_LT(each(unit + "get_one\nUri: /sys/ifc;name=$/unit;id=2\n"), 6.1);
}

} // namespace
