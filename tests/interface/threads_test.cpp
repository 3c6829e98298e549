// Many threads over one tree: every request gives the text that it gives alone, and rounds of requests begin
// with a fresh tree or with none, which the first of them then builds.
#include "host.hpp"

#include <barrier>
#include <chrono>
#include <sstream>
#include <thread>

namespace {

constexpr int thread_count = 8;

std::string content(const std::string &path) {
  std::ostringstream read;
  read << std::ifstream(path).rdbuf();
  return read.str();
}

// What is asked for, and the text that it gives.
struct request {
  const char *node;
  const char *argument = nullptr; // of the walk, with its value
  const char *value = nullptr;
  int options = 0; // a bit each: defaults, tags, passwords
  std::string text = {};

  std::string render(zu_data_ifc *data) const {
    zu_do_properties *arguments = zu_do_properties_new();
    if (argument != nullptr) zu_do_properties_set_string(arguments, argument, value);
    if ((options & 4) == 0) zu_do_properties_set_int(arguments, "_in_show_tech", 1);
    const zu_tovra::result made = zu_tovra::renderer(data).render({.node = node,
                                                                   .arguments = arguments,
                                                                   .defaults = (options & 1) != 0,
                                                                   .submode_tags = (options & 2) != 0});
    zu_do_properties_deref(arguments);
    EXPECT_TRUE(made.whole);
    return made.text;
  }
};

// An example device: its store, and requests for its nodes with every option.
struct device {
  device(const std::string &folder, std::initializer_list<request> nodes)
      : templates(folder + "/templates"), store(content(folder + "/data.json")) {
    for (request made : nodes) {
      for (made.options = 0; made.options < 8; ++made.options) requests.push_back(made);
    }
  }

  // The host sets the environment while no other thread is in the library.
  zu_do_error *load() const {
    setenv("ZU_TVR_DIR", templates.c_str(), 1);
    return render_tovra_reload_func();
  }

  std::string templates;
  host::store store;
  std::vector<request> requests;
};

TEST(threads, render_what_one_renders_alone) {
  ASSERT_TRUE(zu_tovra_init());
  const host::templates bad;
  bad.write("a.tvr", "Cmd: lost\nParent Cmd: nobody\n");
  device devices[] = {
      {EXAMPLES "edge-router", {{nullptr}, {"bgp"}, {"ntp"}, {"interface-list", "name", "management 0"}}},
      {EXAMPLES "chassis",
       {{nullptr}, {"location-list", "loc", "0.9"}, {"port-group-list", "port_group", "2"}}},
  };
  for (device &each : devices) {
    ASSERT_EQ(each.load(), nullptr);
    for (request &asked : each.requests) asked.text = asked.render(each.store.get());
    ASSERT_NE(each.requests.front().text, each.requests.back().text);
  }

  ASSERT_EQ(devices[0].load(), nullptr);
  const int64_t before = host::live_blocks();

  using clock = std::chrono::steady_clock;
  const auto end = clock::now() + std::chrono::seconds(2);
  int round = 0;
  bool over = false;
  // One thread, while the others wait: the other device, by a reload or by leaving no tree.
  const auto next = [&]() noexcept {
    over = round >= 4 && clock::now() > end;
    const device &now = devices[++round % 2];
    if (round % 4 >= 2) setenv("ZU_TVR_DIR", bad.folder().c_str(), 1);
    zu_do_error *error = round % 4 >= 2 ? render_tovra_reload_func() : now.load();
    EXPECT_EQ(error != nullptr, round % 4 >= 2);
    zu_do_error_deref(error);
    setenv("ZU_TVR_DIR", now.templates.c_str(), 1);
  };
  std::barrier gate(thread_count, next);
  const auto run = [&](size_t number) {
    for (gate.arrive_and_wait(); !over; gate.arrive_and_wait()) {
      const device &now = devices[round % 2];
      for (size_t i = 0; i < now.requests.size(); ++i) { // each thread in an order of its own
        const request &asked = now.requests[(i * 5 + number * 3) % now.requests.size()];
        EXPECT_EQ(asked.render(now.store.get()), asked.text);
      }
    }
  };
  std::vector<std::thread> threads;
  for (size_t i = 0; i < thread_count; ++i) threads.emplace_back(run, i);
  for (std::thread &each : threads) each.join();
  ASSERT_EQ(devices[0].load(), nullptr);
  EXPECT_EQ(host::live_blocks(), before);
}

} // namespace
