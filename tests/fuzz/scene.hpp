// Whole scenes: templates that fit, mostly, random data, and how a render of them is asked for.
#pragma once

#include <algorithm>
#include <vector>

#include "stage.hpp"

namespace fuzz {

using texts = std::vector<std::string>;

// ---- Data ----

class recorder {
public:
  explicit recorder(choices &pick) : pick_(pick) {}

  std::string data() {
    add("/sys");
    for (int i = some(); i > 0; --i) {
      const std::string ifc = add("/sys/ifc;name=e" + number(i));
      for (int j = some(); j > 0; --j) {
        const std::string addr = add(ifc + "/addr;ip=" + number(j));
        if (pick_.below(4) != 1) add(addr + "/opt");
        for (int k = some(); k > 0; --k) add(addr + "/dns;n=" + number(k));
      }
      if (pick_.below(4) != 1) add(ifc + "/limit");
      for (const char *way : {"in", "out"}) {
        if (pick_.below(3) != 1) add(ifc + "/qos;dir=" + way);
      }
    }
    const bool located = pick_.below(3) == 1;
    for (int i = some() + some(); i > 0; --i) {
      const std::string root =
          located ? pick_.of({"", "//locations;loc=0.1", "//locations;loc=0.2", "//locations;loc=1"}) : "";
      if (!root.empty() && pick_.often()) add(root);
      const std::string card = add(root + "/hw/card;id=c" + number(i));
      for (int j = some(); j > 0; --j) add(card + "/port;p=" + number(j));
    }
    std::string classes;
    for (const char *path : {"/sys", "/sys/ifc", "/sys/ifc/addr", "/sys/ifc/addr/opt", "/sys/ifc/addr/dns",
                             "/sys/ifc/limit", "/sys/ifc/qos", "/hw/card", "/hw/card/port", "//locations"}) {
      classes += (classes.empty() ? "\"" : ", \"") + std::string(path) +
                 R"(": {"a": {"default": true}, "b": {"default": 1500}, "s": {"type": "PasswordString"},)" +
                 R"( "t": {}, "v": {}, "place": {}})";
    }
    return R"({"classes": {)" + classes + R"(}, "records": {)" + records_ + "}}";
  }

private:
  static std::string number(int i) { return i == 2 ? "11" : std::to_string(i); } // one text begins another
  int some() { return pick_.rarely() ? 0 : 1 + static_cast<int>(pick_.below(3)); }

  std::string value_of(char property) {
    switch (property) {
    case 'a':
      return pick_.of({"true", "false", "false", "null", "0"});
    case 'b':
      return pick_.of({"1500", "9000", "9000", "1", "-1.5", R"("")", "null"});
    case 's':
      return pick_.of({R"("pw")", R"("pw")", R"("p w")", R"("")"});
    case 't':
      return pick_.of({R"("x")", R"("x")", R"("a b")", R"("")", R"("!q")", R"("q\"t")", R"("\u0001\n")",
                       R"({"Text":"l\nm"})", R"({"PasswordString":"s"})"});
    case 'v':
      if (pick_.rarely()) {
        return pick_.of({"7", R"([["x"],true])", R"(["a",null,"b c"])", R"([{"Text":"s"},2])"});
      }
      return pick_.of({"[1,2,30]", "[]", R"(["x"])", R"(["a b","c"])", R"([true,false,1500])"});
    case 'p':
      return pick_.of({R"("0/2")", R"("0/2")", R"("0/10")", R"("1/2/3/4")", R"("0.1")", R"("0.1")", R"("")"});
    default:
      return pick_.of({R"("{\"a\":\"no\"}")", R"("{\"_uri\":\"no\"}")", R"("{\"v\":\"t\"}")"});
    }
  }

  std::string add(const std::string &uri) {
    if (records_.find("\"" + uri + "\":") != records_.npos) return uri;
    std::string properties;
    for (const char *name : {"a", "b", "s", "t", "v", "place", "_pending_attrs"}) {
      const uint32_t roll = pick_.below(8);
      if (name[0] == '_' ? roll != 1 : roll == 1) continue;
      properties += (properties.empty() ? "\"" : ", \"") + std::string(name) + "\": " + value_of(name[0]);
    }
    records_ += (records_.empty() ? "\"" : ",\n\"") + uri + "\": {" + properties + "}";
    return uri;
  }

  choices &pick_;
  std::string records_;
};

// ---- Templates ----

// What a node may read, the record that must be in scope for it, what its records are then called, a property
// that they have, and the name of the first of a group of them.
struct reading {
  bool single;
  const char *uri, *needs;
  texts names;
  const char *key = "a";
  const char *group = "";
};

inline const std::vector<reading> readings = {
    {false, "/sys?ifc", "", {"/sys?ifc", "/sys/ifc;name=$"}, "name"},
    {true, "/sys", "", {"/sys"}},
    {false, "/sys/ifc", "", {"sys/ifc;name=!"}, "name", "sys/ifc;name=#"},
    {false, "/sys/ifc?b=9000", "", {"sys/ifc;name=!"}, "name", "sys/ifc;name=#"},
    {false, "/sys/ifc;name=$?addr", "/sys?ifc", {"/sys/ifc;name=$?addr", "/sys/ifc;name=$/addr;ip=$"}, "ip"},
    {false, "sys/ifc;name=!?addr", "sys/ifc;name=!", {"sys/ifc;name=!?addr"}, "ip"},
    {false, "sys/ifc;name=#?addr", "sys/ifc;name=#", {"sys/ifc;name=#?addr"}, "ip"},
    {false, "/sys/ifc;name=$/addr;ip=$?dns", "/sys/ifc;name=$?addr", {"/sys/ifc;name=$/addr;ip=$?dns"}, "n"},
    {true, "/sys/ifc;name=$/addr;ip=$/opt", "/sys/ifc;name=$?addr", {"/sys/ifc;name=$/addr;ip=$/opt"}},
    {true, "/sys/ifc;name=$/limit", "/sys?ifc", {"/sys/ifc;name=$/limit"}},
    {true, "sys/ifc;name=!/limit", "sys/ifc;name=!", {"sys/ifc;name=!/limit"}},
    {true, "sys/ifc;name=#/limit", "sys/ifc;name=#", {"sys/ifc;name=#/limit"}},
    {true, "/sys/ifc;name=$/qos;dir=in", "/sys?ifc", {"/sys/ifc;name=$/qos;dir=in"}, "dir"},
    {false, "/sys/ifc;name=$?qos", "/sys?ifc", {"/sys/ifc;name=$?qos", "/sys/ifc;name=$/qos;dir=$"}, "dir"},
    {true, "/sys/ifc;name=e1", "", {"/sys/ifc;name=e1"}, "name"},
    {false, "/hw?card", "", {"/hw/card;id=$", "/hw?card"}, "id"},
    {false, "/hw/card", "", {"//locations;loc=$/hw/card;id=!", "hw/card;id=!"}, "id", "hw/card;id=#"},
    {false, "//locations;loc=$/hw?card", "//?locations", {"//locations;loc=$/hw?card"}, "id"},
    {false, "//locations;loc=0.1/hw?card", "", {"//locations;loc=0.1/hw?card"}, "id"},
    {false, "//locations;loc=0.1/hw/card", "", {"//locations;loc=0.1/hw/card;id=!"}, "id"},
    {false, "/hw/card;id=$?port", "/hw?card", {"/hw/card;id=$?port"}, "p"},
    {false,
     "//locations;loc=$/hw/card;id=$?port",
     "//locations;loc=$/hw?card",
     {"//locations;loc=$/hw/card;id=$?port"},
     "p"},
    {false, "//?locations", "", {"//?locations"}, "loc"},
    {true, "//locations;loc=$", "//?locations", {"//locations;loc=$"}, "loc"},
    {false, "/sys/ifc", "sys/ifc;name=!", {"sys/ifc;name=!"}, "name", "sys/ifc;name=#"},
    {true, "sys/ifc;name=#", "sys/ifc;name=#", {"sys/ifc;name=#"}, "name"},
    {true, "hw/card;id=#", "hw/card;id=#", {"hw/card;id=#"}, "id"},
};

class author {
public:
  explicit author(choices &pick) : pick_(pick), wild_(pick.rarely()) {}

  std::string templates() {
    outline("config");
    while (pick_.left() && nodes_ < 25) {
      most_nodes_ = nodes_ + 10;
      node("config", {}, 1);
    }
    while (++mode_ < static_cast<int>(called_.size())) {
      const scope names = called_[mode_];
      outline("m" + std::to_string(mode_));
      most_nodes_ = nodes_ + 8;
      children("m" + std::to_string(mode_), names, 2);
    }
    return text_;
  }
  bool one_batch() const {
    return text_.find("Group:") != text_.npos || text_.find("LocationScheme:") != text_.npos;
  }
  const texts &ids() const { return ids_; }

private:
  struct named {
    std::string uri, key;
    const reading *grouped = nullptr; // the first of a group of these
  };
  using scope = std::vector<named>;
  static constexpr int deepest = 6;
  static constexpr size_t most_modes = 6;

  bool odd() { return wild_ && pick_.below(32) == 1; } // what should not be in templates

  void begin(const std::string &id, const std::string &parent) {
    text_ += "Cmd: " + id + "\n" + (parent.empty() ? "" : "Parent Cmd: " + parent + "\n");
    ids_.push_back(id);
    ++nodes_;
  }
  void outline(const std::string &id) {
    begin(id, "");
    text_ += "Op: no_op\n";
  }

  void children(const std::string &parent, const scope &names, int depth) {
    for (uint32_t count = 1 + pick_.below(4); count > 0 && nodes_ < most_nodes_ && pick_.left(); --count) {
      node(parent, names, depth + 1);
    }
  }

  void node(const std::string &parent, scope names, int depth) {
    const std::string id = "n" + std::to_string(nodes_);
    const auto group =
        std::find_if(names.rbegin(), names.rend(), [](const named &have) { return have.grouped != nullptr; });
    const bool whole = !names.empty() && names.back().grouped != nullptr; // no record of the group in scope
    const uint32_t kind = pick_.below(16);
    if (kind == 0 && !names.empty()) {
      begin(id, parent);
      text_ += "Op: push_mode\nDest: m" + std::to_string(mode_for(names)) + "\n";
      return;
    }
    if ((kind < (whole ? 8 : 3) && group != names.rend()) || (kind == 1 && odd())) {
      begin(id, parent);
      text_ += "Op: iter\nLocationScheme: SLOT\n";
      if (group == names.rend()) return;
      const reading &iterated = *group->grouped;
      names.insert(names.begin(), {"//?locations", "loc"});
      put(names, iterated);
    } else if (!names.empty() && (!whole || *names.back().grouped->group != '\0') &&
               (depth > deepest || kind < 11)) {
      print(id, parent, names);
      if (pick_.below(6) != 1) return;
    } else {
      begin(id, parent);
      read(names);
    }
    if (depth <= deepest) children(id, names, depth);
  }

  static bool has(const scope &names, const std::string &uri) {
    return std::any_of(names.begin(), names.end(), [&](const named &have) { return have.uri == uri; });
  }

  // A mode that comes after this one, and whose records are in scope; one more when there is none.
  size_t mode_for(const scope &names) {
    size_t mode = odd() ? 0 : static_cast<size_t>(mode_ + 1);
    while (mode < called_.size() && !has(names, called_[mode].back().uri)) ++mode;
    if (mode == called_.size() && mode < most_modes) called_.push_back(names);
    return mode;
  }

  // A reading for which the record that it needs is in scope; mostly one that needs some.
  const reading &fitting(const scope &names) {
    if (odd()) return readings[pick_.below(readings.size())];
    std::vector<const reading *> below, any;
    for (const reading &one : readings) {
      auto &fit = *one.needs == '\0' ? any : below;
      if (*one.needs == '\0' || has(names, one.needs)) fit.insert(fit.end(), one.names.size(), &one);
    }
    const auto &fit = below.empty() || pick_.below(4) == 1 ? any : below;
    return *fit[pick_.below(fit.size())];
  }

  void read(scope &names) {
    const reading &chosen = fitting(names);
    text_ +=
        std::string("Op: ") + (chosen.single ? "get_one" : "get_collection") + "\nUri: " + chosen.uri + "\n";
    if (!chosen.single) {
      if (pick_.below(4) == 1) text_ += std::string("Query: ") + chosen.key + "=$" + chosen.key + "\n";
      for (uint32_t i = pick_.below(8) / 3; i > 0; --i) {
        text_ += "Orderby: " + std::string(pick_.of({"b", "t", "place", chosen.key})) + "\n";
      }
      if (pick_.below(8) == 1) {
        text_ += "LocationScheme: SLOT\n";
        names.insert(names.begin(), {"//?locations", "loc"});
      }
      if (pick_.below(*chosen.group != '\0' ? 3 : 12) == 1) {
        text_ += "Group:\n";
        names.push_back({chosen.group, chosen.key, &chosen});
        return;
      }
    }
    put(names, chosen);
  }

  static void put(scope &names, const reading &read) {
    for (const std::string &name : read.names) {
      if (name.find("loc=$/hw/") == name.npos || has(names, "//?locations"))
        names.push_back({name, read.key});
    }
  }

  // A print node, or two nodes with the same line and conditions, one of which is true.
  void print(const std::string &id, const std::string &parent, const scope &names) {
    begin(id, parent);
    const size_t at = text_.size();
    line(names);
    const std::string same = text_.substr(at);
    const uint32_t kind = pick_.below(16);
    if (kind < 5) {
      text_ += "Cond: " +
               std::string(
                   pick_.of({"(set $tvr0)", "(ne $tvr0 9000)", "(and $tvr0) (gt $tvr1 1)",
                             R"((or (eq $tvr0 "x") (not $tvr1)))", "(lt $tvr1 5000)", "$tvr0 false",
                             R"((eval "$tvr0") (eval "{\"v\":false}"))",
                             R"((eval "$tvr0") (eval "{\"v\":9000}") (eval "$tvr1") (eval "{\"v\":null}"))",
                             R"((ne $tvr1 "x") (eval "$tvr0") (eval "{\"v\":false}"))",
                             R"((not (set $tvr1)) (eval "$tvr0") (eval "{\"v\":true}"))"})) +
               (odd() ? "(\n" : "\n");
    } else if (kind < 8) {
      const std::string held = pick_.of({"(set $tvr0)", "(ne $tvr0 false)", "(gt $tvr1 1)", "(and $tvr2)",
                                         R"((eq $tvr0 "x"))", "(set $tvr3)"});
      text_ += "Cond: " + held + "\n";
      begin("n" + std::to_string(nodes_), parent);
      text_ += same + "Cond: (not " + held + ")\n";
    }
  }

  void line(const scope &names) {
    const uint32_t slots = pick_.below(32) == 1 ? 17 : pick_.below(4);
    text_ += "Op: print_if\nFmt: " + std::string(slots > 0 && pick_.rarely() ? "%s " : "");
    const size_t first = text_.ends_with("%s ") ? 1 : 0;
    text_ += "w" + std::to_string(nodes_);
    for (size_t i = first; i < slots; ++i) text_ += pick_.of({" x %s", " x %s", ",%s", " %%s"});
    text_ += "\n";
    if (pick_.often()) text_ += "Newline:\n";
    if (slots == 0 && pick_.below(4) == 1) return; // the format as it stands
    const uint32_t mapped = pick_.below(8);        // a slot that shows texts in place of values
    uint32_t slot = 0, beyond = slots;
    do {
      const named &near = names[names.size() - 1 - pick_.below(std::min<size_t>(names.size(), 3))];
      const named one = odd()              ? named{readings[pick_.below(readings.size())].names[0], "name"}
                        : near.uri.empty() ? names.back()
                                           : near;
      const uint32_t end = slot < slots && pick_.below(3) == 1 ? slot + 1 : slots;
      if (slot < end && slot != mapped && pick_.rarely()) {
        text_ += "Location: " + one.uri + (one.key == "loc" ? " loc:" : " place:") +
                 pick_.of({"SLOT", "PORT", "DEFAULT"});
        for (; slot < end; ++slot) text_ += pick_.of({" :", " slot:", " port:"}) + std::to_string(slot);
      } else {
        text_ += "Props: " + one.uri;
        const size_t before = text_.size();
        while (slot < end) slot += property(one.key, slot, slot == mapped ? slot : end);
        // Those beyond the slots are for the condition only.
        while (text_.size() == before || pick_.below(4) == 1) {
          text_ += (one.key == "loc" ? " loc:" : pick_.of({" a:", " b:", " t:"})) + std::to_string(beyond++);
        }
      }
      text_ += "\n";
    } while (slot < slots);
    if (mapped < slots || odd()) {
      text_ += "ValueMap: " + std::to_string(mapped) +
               (odd() ? " x" : pick_.of({" 9000 jumbo 1 one", " true up false down"})) + "\n";
    }
  }

  // Fills a slot (@), or two of those before the end (&); none that is mapped with an array. Says how many.
  uint32_t property(const std::string &key, uint32_t slot, uint32_t end) {
    if (odd()) return 1; // not filled
    const bool plain = end <= slot || key == "loc";
    const uint32_t kind = pick_.below(plain ? 4 : slot + 1 < end ? 8 : 6);
    const char *layout = " *:@";
    if (key != "loc" || pick_.rarely()) { // a location has little else
      layout = kind < 4   ? pick_.of({" *:@", " *:@", " a:@", " a:@", " b:@", " b:@", " t:@", " t:@", " s:@"})
               : kind < 6 ? pick_.of({" v:@", " v:@:\"p \"", " v:@::multiline", " v:@:\"p \":multiline"})
                          : pick_.of({" v:@::multiline:&", " v:@::multiline:&:\"i \"", " v:@:::&",
                                      " v:@:\"p \"::&:\"i \"", " v:@:::&::independent"});
    }
    for (; *layout != '\0'; ++layout) {
      if (*layout == '*') {
        text_ += key;
      } else if (*layout == '@' || *layout == '&') {
        text_ += std::to_string(*layout == '@' ? slot : slot + 1);
      } else {
        text_ += *layout;
      }
    }
    return kind < 6 ? 1 : 2;
  }

  choices &pick_;
  std::string text_;
  texts ids_;
  int nodes_ = 0, most_nodes_ = 0;
  int mode_ = -1;             // none
  std::vector<scope> called_; // what is in scope in each mode
  const bool wild_;
};

inline own_record arguments_of(uint32_t choice) {
  own_record arguments(choice == 0 ? nullptr : zu_do_properties_new());
  if ((choice & 1) != 0) zu_do_properties_set_string(arguments.get(), "name", "e1");
  if ((choice & 2) != 0) zu_do_properties_set_int(arguments.get(), "_in_show_tech", 1);
  if ((choice & 4) != 0) zu_do_properties_set_string(arguments.get(), "id", "c1");
  return arguments;
}

// What the bytes make.
struct scene {
  scene(const uint8_t *bytes, size_t size) {
    choices pick(bytes, size);
    const uint32_t way = pick.below(256), failing = pick.below(256), named = pick.below(256);
    arguments_ = arguments_of(way / 16 % 8);
    data = recorder(pick).data();
    author writer(pick);
    templates = writer.templates();
    one_batch = writer.one_batch();
    node_ = named < 192 ? "config" : writer.ids()[named % writer.ids().size()];
    asked = {.node = node_.c_str(),
             .defaults = (way & 1) != 0,
             .tag_submodes = (way & 2) != 0,
             .fetch_count = way / 4 % 4,
             .arguments = arguments_.get(),
             .failing_request = failing < 32 ? failing : 0,
             .failure = failing % 2 != 0 ? ZU_NOT_FOUND : ZU_FAILED,
             .refused_piece = failing >= 32 && failing < 40 ? static_cast<int>(failing) - 31 : 0};
  }

  std::string templates, data;
  bool one_batch; // groups and location order are made of one fetch
  request asked;

private:
  std::string node_;
  own_record arguments_;
};

// The store of a scene's data.
inline own_data load_data(const std::string &text) {
  zu_do_error *error = nullptr;
  own_data store(zu_store_load_text("data", text.data(), text.size(), &error));
  check(store != nullptr, "the data loads", text + "\n" + or_none(zu_do_error_get_msg(error)));
  return store;
}

} // namespace fuzz
