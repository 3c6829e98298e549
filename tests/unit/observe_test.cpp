// Observing a render: what happened, in which node, from which records and properties.
#include "support/session.hpp"

#include "entry/tree_holder.hpp"
#include "support.h"
#include "zu_tovra/observe.h"

namespace {

using lines = std::vector<std::string>;

std::string or_dash(const char *text) {
  return text != nullptr ? text : "-";
}

std::string shown(const zu_tvr_observed_value &value) {
  std::string text = std::string(value.in_format != 0 ? " %s" : " $tvr") + std::to_string(value.index) + "=" +
                     value.property + "@" + value.record;
  if (value.value == nullptr) text += ":none";
  if (value.element >= 0) text += "[" + std::to_string(value.element) + "]";
  if (value.is_default != 0) text += ":default";
  if (value.is_password != 0) text += ":password";
  return text;
}

// Writes every event as a line of text, indented by depth.
class observation {
public:
  const zu_tvr_observer *observer() const { return &observer_; }

  lines take() { return std::exchange(seen_, {}); }

private:
  static void take_event(void *self, const zu_tvr_event *event) {
    static_cast<observation *>(self)->take(*event);
  }
  void take(const zu_tvr_event &event) {
    static constexpr const char *reasons[] = {"", "no record", "null", "defaults", "condition", "empty"};
    std::string line;
    switch (event.kind) {
    case ZU_TVR_EVENT_ENTER:
      ++depth_;
      return;
    case ZU_TVR_EVENT_LEAVE:
      --depth_;
      return;
    case ZU_TVR_EVENT_ASK:
      line = "ask " + or_dash(event.uri);
      break;
    case ZU_TVR_EVENT_RECORD:
      line = "record " + or_dash(event.uri);
      EXPECT_NE(event.record, nullptr);
      break;
    case ZU_TVR_EVENT_LINE:
      line = "line " + std::string(event.text);
      break;
    case ZU_TVR_EVENT_WITHHELD:
      line = std::string("withheld, ") + reasons[event.reason];
      if (event.uri != nullptr) line += std::string(" ") + event.uri;
      if (event.property != nullptr) line += std::string(" ") + event.property;
      break;
    default:
      line = "error " + std::to_string(event.code) + " " + event.message + " at " + or_dash(event.uri) + " " +
             or_dash(event.property);
    }
    EXPECT_EQ(event.node != nullptr, depth_ > 0);
    for (uint32_t i = 0; i < event.value_count; ++i) line += shown(event.values[i]);
    seen_.push_back(std::to_string(depth_) + " " + line);
  }

  lines seen_;
  int depth_ = 0;
  zu_tvr_observer observer_ = {take_event, this, UINT32_MAX};
};

constexpr const char *data = R"({
  "classes": {"/port": {"mtu": {"default": 1500}, "key": {"type": "PasswordString", "default": ""}}},
  "records": {
    "/port;n=1": {"mtu": 9000, "up": true, "text": "", "list": [], "two": ["a", "b"]},
    "/port;n=2": {"key": "x", "up": false, "text": "t", "list": [1]},
    "/port;n=2/unit;u=1": {},
    "/system": {"name": "r1"}}})";

// Renders templates with an observer: what it saw at a depth.
class observe_test : public testing::Test {
protected:
  void TearDown() override { tvr::tovra_tree_drop(); } // a stop would end the process's renders
  lines observe(const std::string &text, char depth, bool submode_tags = false) {
    templates.write("a.tvr", text);
    EXPECT_EQ(render_tovra_reload_func(), nullptr);
    observation observed;
    renderer.render({.submode_tags = submode_tags, .observer = observed.observer()});
    lines seen;
    for (std::string &line : observed.take()) {
      if (line.front() == depth) seen.push_back(line.substr(2));
    }
    return seen;
  }

  host::templates templates;
  host::store store{data};
  zu_tovra::renderer renderer{store.get()};
};

TEST_F(observe_test, tells_lines_and_why_there_is_none) {
  const struct {
    const char *node; // the rest of a print node, walked once a port
    lines seen;
  } cases[] = {
      {"Fmt: mtu %s\nProps: /port;n=$ mtu:0 up:1\nCond: (eq $tvr1 true)\n",
       {"line mtu 9000 %s0=mtu@/port;n=1 $tvr1=up@/port;n=1",
        "withheld, condition %s0=mtu@/port;n=2:default $tvr1=up@/port;n=2"}},
      {"Fmt: key %s\nProps: /port;n=$ key:0\n",
       {"withheld, defaults", "line key x %s0=key@/port;n=2:password"}},
      {"Fmt: text %s\nProps: /port;n=$ text:0\n",
       {"withheld, empty /port;n=1 text", "line text t %s0=text@/port;n=2"}},
      {"Fmt: list %s\nProps: /port;n=$ list:0::multiline\n",
       {"withheld, empty /port;n=1 list", "line list 1 %s0=list@/port;n=2[0]"}},
      {"Fmt: two %s\nProps: /port;n=$ two:0::multiline\n",
       {"line two a %s0=two@/port;n=1[0]", "line two b %s0=two@/port;n=1[1]",
        "withheld, null /port;n=2 two"}},
      {"Fmt: line\n", {"line line", "line line"}},
      {"Fmt: name %s\nProps: /system name:0\n",
       {"withheld, no record /system", "withheld, no record /system"}},
      {"Fmt: name %s\nProps: /none;n=$ name:0\n", {"withheld, no record", "withheld, no record"}},
      {"Fmt: %s of %s\nProps: /port;n=$ mtu:0\nProps: /system name:1\n",
       {"error 10000 Property cache is incomplete at /system -"}},
      {"Fmt: %s\nProps: /port;n=$ nope:0\n",
       {"error 10000 Unable to find property nope on uri /port;n=1 at /port;n=1 nope"}},
      {"Fmt: %s of %s\nProps: /port;n=$ mtu:0\n", {"error 10000 Unable to find property at /port;n=1 -"}},
  };
  for (const auto &[node, seen] : cases) {
    SCOPED_TRACE(node);
    EXPECT_EQ(observe("Cmd: config\nCmd: ports\nParent Cmd: config\nOp: get_collection\nUri: /?port\n"
                      "Cmd: line\nParent Cmd: ports\nOp: print_if\n" +
                          std::string(node),
                      '4'),
              seen);
  }
}

TEST_F(observe_test, tells_what_is_asked_for_and_what_is_there) {
  const struct {
    const char *node; // below config
    lines seen;
  } cases[] = {
      {"Op: get_collection\nUri: /?port\n", {"ask /?port", "record /port;n=1", "record /port;n=2"}},
      {"Op: get_collection\nUri: /?port\nOrderby: up\nGroup:\n",
       {"ask /?port", "record /port;n=2", "record /port;n=1"}},
      {"Op: get_collection\nUri: /?none\n", {"ask /?none"}},
      {"Op: get_one\nUri: /system\n", {"ask /system", "record /system"}},
      {"Op: get_one\nUri: /none\n", {"ask /none"}},
      {"Op: get_one\nUri: /port;n=$\n", {"error 102 Failed to resolve URI in get node at - -"}},
      {"Op: push_mode\nDest: mode\nCmd: mode\nOp: no_op\n",
       {"line \n ! <submode> \"mode\"", "line \n ! </submode> \"mode\""}},
  };
  for (const auto &[node, seen] : cases) {
    SCOPED_TRACE(node);
    EXPECT_EQ(observe("Cmd: config\nCmd: node\nParent Cmd: config\n" + std::string(node), '3', true), seen);
  }
}

TEST_F(observe_test, an_error_behind_a_submode_is_of_its_own_node) {
  lines nodes;
  const zu_tvr_observer observer = {[](void *into, const zu_tvr_event *event) {
                                      EXPECT_EQ(event->kind, ZU_TVR_EVENT_ERROR);
                                      EXPECT_EQ(event->node->type, uint32_t{TVR_NODE_COLL});
                                      static_cast<lines *>(into)->push_back(event->message);
                                    },
                                    &nodes, 1u << ZU_TVR_EVENT_ERROR};
  templates.write("a.tvr",
                  "Cmd: config\nCmd: ports\nParent Cmd: config\nOp: get_collection\nUri: /?port\n"
                  "Cmd: enter\nParent Cmd: ports\nOp: push_mode\nDest: mode\nCmd: mode\nOp: no_op\nCmd: l\n"
                  "Parent Cmd: mode\nOp: print_if\nFmt: l\n"
                  "Cmd: next\nParent Cmd: config\nOp: get_collection\nUri: /port;n=$?unit\n");
  EXPECT_EQ(render_tovra_reload_func(), nullptr);
  renderer.render({.observer = &observer});
  EXPECT_EQ(nodes, lines{"Failed to resolve collection URI"});
}

} // namespace
