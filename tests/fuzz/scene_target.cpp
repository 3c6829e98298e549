// Whole scenes: templates that fit, mostly, random data. What a render does must not depend on what is
// traced, nor its text on how many rows a fetch brings.
#include <algorithm>
#include <vector>

#include "stage.hpp"

namespace {

using texts = std::vector<std::string>;

// ---- Data ----

class recorder {
public:
  explicit recorder(fuzz::choices &pick) : pick_(pick) {}

  std::string data() {
    add("/sys");
    for (int i = items(); i > 0; --i) {
      const std::string ifc = add("/sys/ifc;name=e" + std::to_string(i));
      for (int j = items(); j > 0; --j) {
        const std::string addr = add(ifc + "/addr;ip=" + std::to_string(j));
        if (pick_.below(2) != 0) add(addr + "/opt");
      }
      if (pick_.below(2) != 0) add(ifc + "/limit");
      for (const char *way : {"in", "out"}) {
        if (pick_.below(2) != 0) add(ifc + "/qos;dir=" + way);
      }
    }
    for (int i = items(); i > 0; --i) {
      const std::string root =
          pick_.of({"", "//locations;loc=0.1", "//locations;loc=0.2", "//locations;loc=1"});
      if (!root.empty() && pick_.below(2) != 0) add(root);
      const std::string card = add(root + "/hw/card;id=c" + std::to_string(i));
      for (int j = items(); j > 0; --j) add(card + "/port;p=" + std::to_string(j));
    }
    std::string classes;
    for (const char *path : {"/sys", "/sys/ifc", "/sys/ifc/addr", "/sys/ifc/addr/opt", "/sys/ifc/limit",
                             "/sys/ifc/qos", "/hw/card", "/hw/card/port", "//locations"}) {
      classes += (classes.empty() ? "\"" : ", \"") + std::string(path) +
                 R"(": {"a": {"default": true}, "b": {"default": 1500}, "v": {}, "place": {}})";
    }
    return R"({"classes": {)" + classes + R"(}, "records": {)" + records_ + "}}";
  }

private:
  int items() { return static_cast<int>(pick_.below(4)); }

  std::string add(const std::string &uri) {
    if (records_.find("\"" + uri + "\":") != records_.npos) return uri;
    std::string properties;
    for (const char *name : {"a", "b", "v", "place", "_pending_attrs"}) {
      if (pick_.below(name[0] == '_' ? 16 : 4) == 1) continue;
      if (name[0] == '_' && pick_.below(8) != 1) continue;
      const char *value =
          name[0] == '_'   ? R"("{\"a\":\"no\"}")"
          : name[0] == 'p' ? pick_.of({R"("0/2")", R"("1/2/3/4")", R"("0.1")", "\"\"", "3"})
          : name[0] == 'v' ? pick_.of({"[1,2,30]", "[]", R"(["a",null,"b c"])", R"([["x"],true])", "7",
                                       R"([{"PasswordString":"s"},2])", "null"})
                           : pick_.of({"1500", "true", "0", R"("x")", R"("a b")", "\"\"", "null", "false",
                                       "-1.5", R"("!q")", R"({"PasswordString":"s"})", R"({"Text":"l\nm"})"});
      properties += (properties.empty() ? "\"" : ", \"") + std::string(name) + "\": " + value;
    }
    records_ += (records_.empty() ? "\"" : ",\n\"") + uri + "\": {" + properties + "}";
    return uri;
  }

  fuzz::choices &pick_;
  std::string records_;
};

// ---- Templates ----

// What a node may read, the record that must be in scope for it, and what its records are then called.
struct reading {
  bool single;
  const char *uri, *needs;
  texts names;
  const char *key = "a"; // a property that its records have
};

const std::vector<reading> readings = {
    {false, "/sys?ifc", "", {"/sys?ifc", "/sys/ifc;name=$"}, "name"},
    {true, "/sys", "", {"/sys"}},
    {false, "/sys/ifc", "", {"sys/ifc;name=!"}, "name"},
    {false, "/sys/ifc?b=1500", "", {"sys/ifc;name=!"}, "name"},
    {false, "/sys/ifc;name=$?addr", "/sys?ifc", {"/sys/ifc;name=$?addr", "/sys/ifc;name=$/addr;ip=$"}, "ip"},
    {false, "sys/ifc;name=!?addr", "sys/ifc;name=!", {"sys/ifc;name=!?addr"}, "ip"},
    {true, "/sys/ifc;name=$/addr;ip=$/opt", "/sys/ifc;name=$?addr", {"/sys/ifc;name=$/addr;ip=$/opt"}},
    {true, "/sys/ifc;name=$/limit", "/sys?ifc", {"/sys/ifc;name=$/limit"}},
    {true, "sys/ifc;name=!/limit", "sys/ifc;name=!", {"sys/ifc;name=!/limit"}},
    {true, "/sys/ifc;name=$/qos;dir=in", "/sys?ifc", {"/sys/ifc;name=$/qos;dir=in"}, "dir"},
    {false, "/sys/ifc;name=$?qos", "/sys?ifc", {"/sys/ifc;name=$?qos", "/sys/ifc;name=$/qos;dir=in"}, "dir"},
    {true, "/sys/ifc;name=e1", "", {"/sys/ifc;name=e1"}, "name"},
    {false, "/hw?card", "", {"/hw?card", "/hw/card;id=$"}, "id"},
    {false, "/hw/card", "", {"hw/card;id=!"}, "id"},
    {false, "//locations;loc=$/hw?card", "//?locations", {"//locations;loc=$/hw?card", "/hw?card"}, "id"},
    {false, "//locations;loc=0.1/hw?card", "", {"//locations;loc=0.1/hw?card"}, "id"},
    {false, "/hw/card;id=$?port", "/hw?card", {"/hw/card;id=$?port"}, "p"},
    {false, "//locations;loc=$/hw/card;id=$?port", "//locations;loc=$/hw?card", {"/hw/card;id=$?port"}, "p"},
    {false, "//?locations", "", {"//?locations"}, "loc"},
    {true, "//locations;loc=$", "//?locations", {"//locations;loc=$"}, "loc"},
    {true, "sys/ifc;name=#", "sys/ifc;name=#", {"sys/ifc;name=#"}, "name"},
};

class author {
public:
  explicit author(fuzz::choices &pick) : pick_(pick) {}

  std::string templates() {
    begin("config", "");
    text_ += "Op: no_op\n";
    do {
      children("config", {}, 0);
    } while (pick_.left() && nodes_ < 4);
    for (const char *mode : {"m0", "m1"}) {
      begin(mode, "");
      text_ += "Op: no_op\n";
      in_mode_ = true;
      children(mode, {{"/sys?ifc", "name"}, {"sys/ifc;name=!", "name"}}, 3);
    }
    return text_;
  }
  bool one_batch() const { return text_.find("Group:") + 1 != 0 || text_.find("LocationScheme:") + 1 != 0; }
  const texts &ids() const { return ids_; }

private:
  struct named {
    std::string uri, key;
  };
  using scope = std::vector<named>;
  static constexpr int most_nodes = 20;
  static constexpr int deepest = 5;

  static bool in_group(const scope &names) {
    return std::any_of(names.begin(), names.end(), [](const named &have) { return have.uri.ends_with('#'); });
  }

  void begin(const std::string &id, const std::string &parent) {
    text_ += "Cmd: " + id + "\n" + (parent.empty() ? "" : "Parent Cmd: " + parent + "\n");
    ids_.push_back(id);
    ++nodes_;
  }

  void children(const std::string &parent, const scope &names, int depth) {
    for (uint32_t count = 1 + pick_.below(4); count > 0 && nodes_ < most_nodes && pick_.left(); --count) {
      node(parent, names, depth + 1);
    }
  }

  void node(const std::string &parent, scope names, int depth) {
    const std::string id = "n" + std::to_string(nodes_);
    begin(id, parent);
    const uint32_t kind = pick_.below(16);
    if (kind == 0) {
      text_ += "Op: push_mode\nDest: " + std::string(in_mode_ || pick_.often() ? "m1" : "m0") + "\n";
      return;
    }
    if (kind < 4 && (in_group(names) || kind == pick_.below(64))) {
      text_ += "Op: iter\nLocationScheme: SLOT\n";
      names.push_back({"sys/ifc;name=!", "name"});
    } else if (!names.empty() && (depth > deepest || kind < 4 + 2u * static_cast<uint32_t>(depth))) {
      print(names);
      if (pick_.below(8) != 1) return;
    } else {
      read(names);
    }
    if (depth <= deepest) children(id, names, depth);
  }

  void read(scope &names) {
    size_t at = pick_.below(readings.size());
    const auto fits = [&](const reading &one) {
      return *one.needs == '\0' || std::any_of(names.begin(), names.end(),
                                               [&](const named &have) { return have.uri == one.needs; });
    };
    while (!fits(readings[at]) && pick_.below(64) != 1) at = (at + 1) % readings.size();
    const reading &chosen = readings[at];
    text_ +=
        std::string("Op: ") + (chosen.single ? "get_one" : "get_collection") + "\nUri: " + chosen.uri + "\n";
    for (const std::string &name : chosen.names) names.push_back({name, chosen.key});
    if (chosen.single) return;
    if (pick_.below(4) == 1) text_ += "Query: name=$name\n";
    if (pick_.below(4) == 1) text_ += "Orderby: " + std::string(pick_.of({"b", "name", "place"})) + "\n";
    if (pick_.below(8) == 1) {
      text_ += "Group:\n";
      names.push_back({chosen.uri[1] == 'h' ? "hw/card;id=#" : "sys/ifc;name=#", chosen.key});
    }
    if (pick_.below(8) == 1) {
      text_ += "LocationScheme: SLOT\n";
      names.push_back({"//?locations", "loc"});
    }
  }

  void print(const scope &names) {
    const uint32_t slots = pick_.below(4);
    text_ += "Op: print_if\nFmt: w" + std::to_string(nodes_);
    for (uint32_t i = 0; i < slots; ++i) text_ += pick_.below(4) == 1 ? ",%s" : " x %s";
    text_ += "\n";
    const uint32_t lines = (pick_.below(6) != 1) + (pick_.below(6) == 1); // none: the format as it stands
    for (uint32_t line = 0; line < lines; ++line) {
      const named one = pick_.below(32) == 1
                            ? named{readings[pick_.below(readings.size())].names[0], "name"}
                            : names[names.size() - 1 - pick_.below(std::min<size_t>(names.size(), 3))];
      if (slots > 1 && pick_.below(8) == 1) {
        text_ += "Location: " + one.uri +
                 pick_.of({" place:SLOT :0", " place:PORT :0 port:1", " place:DEFAULT slot:0"}) + "\n";
        continue;
      }
      text_ += "Props: " + one.uri;
      const size_t before = text_.size();
      for (uint32_t slot = line; slot < slots; ++slot) slot = property(one.key, slot, slots);
      // One beyond the slots is for the condition only.
      if (text_.size() == before || pick_.below(4) == 1) text_ += " b:" + std::to_string(slots);
      text_ += "\n";
    }
    if (pick_.below(4) == 1) {
      text_ += "Cond: " +
               std::string(pick_.of({"(set $tvr0)", "(ne $tvr0 1500)", "(and $tvr0) (gt $tvr1 1)",
                                     "(or (eq $tvr0 \"x\") (not $tvr1))", "(lt $tvr1 5)",
                                     "(eval \"$tvr0\") (eval \"{\\\"v\\\":true}\")"})) +
               "\n";
    }
    if (slots > 1 && pick_.below(4) == 1) {
      text_ += "ValueMap: " + std::string(pick_.of({"0 1500 std", "0 true up false down", "1 a b"})) + "\n";
    }
    if (pick_.often()) text_ += "Newline:\n";
  }

  // Fills a slot, or two; gives the last.
  uint32_t property(const std::string &key, uint32_t slot, uint32_t slots) {
    const std::string at = std::to_string(slot), next = std::to_string(slot + 1);
    if (key == "loc" && pick_.often()) { // a location has little else
      text_ += " loc:" + at;
      return slot;
    }
    switch (pick_.below(slot + 1 < slots || pick_.rarely() ? 16 : 10)) {
    case 0:
      text_ += " v:" + at;
      break;
    case 1:
      text_ += " v:" + at + ":\"p \"";
      break;
    case 2:
      text_ += " v:" + at + "::multiline";
      break;
    case 3:
      break;
    case 4:
      text_ += " b:" + at;
      break;
    case 5:
      text_ += " a:" + at;
      break;
    case 10:
      text_ += " v:" + at + "::multiline:" + next;
      return ++slot;
    case 11:
      text_ += " v:" + at + ":::" + next;
      return ++slot;
    case 12:
      text_ += " v:" + at + ":::" + next + "::independent";
      return ++slot;
    default:
      text_ += " " + key + ":" + at;
    }
    return slot;
  }

  fuzz::choices &pick_;
  std::string text_;
  texts ids_;
  int nodes_ = 0;
  bool in_mode_ = false;
};

fuzz::own_record arguments_of(uint32_t choice) {
  fuzz::own_record arguments(choice == 0 ? nullptr : zu_do_properties_new());
  if (choice == 1) zu_do_properties_set_string(arguments.get(), "name", "e1");
  if (choice == 2) zu_do_properties_set_int(arguments.get(), "_in_show_tech", 1);
  return arguments;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  const fuzz::balanced_memory balanced;
  fuzz::choices pick(bytes, size);
  const uint32_t way = pick.below(256), failing = pick.below(256), named = pick.below(256);
  const fuzz::own_record arguments = arguments_of(way / 4 % 4);
  const std::string records = recorder(pick).data();
  author writer(pick);
  const std::string templates = writer.templates();
  if (std::getenv("TOVRA_SHOW_SCENE") != nullptr) std::printf("%s\n%s\n", templates.c_str(), records.c_str());

  const fuzz::own_tree tree = fuzz::load_tree(templates.c_str(), 4);
  if (!tree) return 0;
  zu_do_error *error = nullptr;
  const fuzz::own_data store(zu_store_load_text("data", records.data(), records.size(), &error));
  fuzz::check(store != nullptr, "the data loads", records + "\n" + fuzz::or_none(zu_do_error_get_msg(error)));

  const std::string node = named < 192 ? "config" : writer.ids()[named % writer.ids().size()];
  fuzz::request asked = {.node = node.c_str(),
                         .defaults = (way & 1) != 0,
                         .tag_submodes = (way & 2) != 0,
                         .fetch_count = way / 16 % 4,
                         .arguments = arguments.get(),
                         .failing_request = failing < 64 ? failing : 0,
                         .failure = failing % 2 != 0 ? ZU_NOT_FOUND : ZU_FAILED};
  const fuzz::outcome got = fuzz::render_alike(tree.get(), store.get(), asked);
  if (std::getenv("TOVRA_SHOW_SCENE") != nullptr) std::printf("%s\n%s", got.told.c_str(), got.traced.c_str());
  if (writer.one_batch() || asked.failing_request != 0 || !got.clean) return 0;
  asked.fetch_count = (asked.fetch_count + 1) % 4;
  fuzz::same("texts for two fetch counts", got.text,
             fuzz::render(tree.get(), store.get(), asked, 0).did.text);
  return 0;
}
